// Landlock decides about files and TCP, a filter of system calls about the rest. Both are best effort: a kernel that
// lacks a part of it goes without that part.
#include "batch/confine.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include "batch/system_calls.h"

namespace
{

// As linux/landlock.h has them in the newest kernels; the headers of a build may be older than the kernel.
constexpr long createRuleset = 444, addRule = 445, restrictSelf = 446;
constexpr u32 askVersion = 1, ruleOfPath = 1;
constexpr u64 writeFile = 1 << 1;
constexpr u64 removeMakeAndLink = 0x1FF0;   // folders, files, devices, sockets, pipes, links
constexpr u64 moveElsewhere = 1 << 13;      // since version 2
constexpr u64 truncateFile = 1 << 14;       // 3
constexpr u64 controlDevice = 1 << 15;      // 5
constexpr u64 bindAndConnect = 3;           // 4
constexpr u64 foreignSocketsAndSignals = 3; // 6

struct Ruleset {
    u64 files;
    u64 network;
    u64 scopes;
};

struct __attribute__((packed)) PathRule {
    u64 allowed;
    i32 folder;
};

void allow(int ruleset, const char* path, u64 what)
{
    const int descriptor = open(path, O_PATH | O_CLOEXEC);
    if (descriptor < 0)
        return;
    const PathRule rule = {what, descriptor};
    syscall(addRule, ruleset, ruleOfPath, &rule, 0);
    close(descriptor);
}

void confineFiles(const std::string& workFolder)
{
    const long version = syscall(createRuleset, nullptr, 0, askVersion);
    if (version < 1)
        return;
    Ruleset rules = {writeFile | removeMakeAndLink, 0, 0};
    rules.files |= version >= 2 ? moveElsewhere : 0;
    rules.files |= version >= 3 ? truncateFile : 0;
    rules.network = version >= 4 ? bindAndConnect : 0;
    rules.files |= version >= 5 ? controlDevice : 0;
    rules.scopes = version >= 6 ? foreignSocketsAndSignals : 0;
    const size_t size = version >= 6 ? sizeof rules : version >= 4 ? 2 * sizeof(u64) : sizeof(u64);
    const auto ruleset = static_cast<int>(syscall(createRuleset, &rules, size, 0));
    if (ruleset < 0)
        return;
    if (!workFolder.empty())
        allow(ruleset, workFolder.c_str(), rules.files);
    allow(ruleset, "/dev/null", rules.files & (writeFile | truncateFile | controlDevice));
    syscall(restrictSelf, ruleset, 0);
    close(ruleset);
}

void limit(__rlimit_resource_t resource, u64 most)
{
    rlimit present;
    if (getrlimit(resource, &present) != 0)
        return;
    const rlim_t value = std::min<rlim_t>(most, present.rlim_max);
    const rlimit limits = {value, value};
    setrlimit(resource, &limits);
}

} // namespace

u64 memoryOfAWorker(int workers)
{
#ifdef __SANITIZE_ADDRESS__
    (void)workers;
    return 0; // its shadow takes terabytes
#else
    constexpr u64 enough = u64{4} << 30;
    const auto all = static_cast<u64>(sysconf(_SC_PHYS_PAGES)) * static_cast<u64>(sysconf(_SC_PAGESIZE));
    return std::max(enough, all / static_cast<u64>(workers));
#endif
}

void confine(const std::string& workFolder, u64 mostBytes)
{
    limit(RLIMIT_CORE, 0);
    if (mostBytes != 0)
        limit(RLIMIT_AS, mostBytes);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return;
    confineFiles(workFolder);
    confineSystemCalls();
}
