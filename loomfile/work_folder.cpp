#include "loomfile/work_folder.h"

#include <sys/random.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "loomfile/refusal.h"

namespace fs = std::filesystem;

namespace
{

// What a signal handler can read: a name is written while its slot is taken, and is there while the slot is filled.
struct Slot {
    enum State { isFree, isTaken, isFilled };
    std::atomic<int> state;
    char path[PATH_MAX];
};
static_assert(std::atomic<int>::is_always_lock_free);

constexpr int slotCount = 256;
Slot slots[slotCount];

// -1 when all are in use: the folder is then removed only when its file is closed.
int registerFolder(const std::string& path)
{
    for (int i = 0; i < slotCount; i++) {
        int expected = Slot::isFree;
        if (!slots[i].state.compare_exchange_strong(expected, Slot::isTaken))
            continue;
        strcpy(slots[i].path, path.c_str());
        slots[i].state = Slot::isFilled;
        return i;
    }
    return -1;
}

void releaseSlot(int slot)
{
    if (slot >= 0)
        slots[slot].state = Slot::isFree;
}

std::string randomName()
{
    u64 number = 0;
    while (getrandom(&number, sizeof number, 0) != sizeof number) {
    }
    char text[40];
    snprintf(text, sizeof text, "/loomfile-%016llx", static_cast<unsigned long long>(number));
    return text;
}

// An archive may have left folders that not even their owner may look into.
void removeTree(const std::string& path)
{
    std::error_code ignored;
    fs::remove_all(path, ignored);
    if (!fs::exists(path, ignored))
        return;
    const auto options = fs::directory_options::skip_permission_denied;
    for (bool foundMore = true; foundMore;) {
        foundMore = false;
        std::error_code error;
        for (fs::recursive_directory_iterator entry(path, options, error), end; !error && entry != end;
             entry.increment(error)) {
            const fs::file_status status = entry->symlink_status(ignored);
            if (!fs::is_directory(status) || (status.permissions() & fs::perms::owner_all) == fs::perms::owner_all)
                continue;
            fs::permissions(entry->path(), fs::perms::owner_all, ignored);
            foundMore = !ignored;
        }
    }
    fs::remove_all(path, ignored);
}

} // namespace

void WorkFolder::make(const std::string& place)
{
    if (isMade())
        return;
    std::error_code error;
    const std::string absolute = fs::absolute(place, error).string();
    int failed = error.value();
    // The name is known before the folder is there, so that no signal can find it unknown.
    for (int tries = 0; failed == 0 && !isMade(); tries++) {
        const std::string folder = absolute + randomName();
        if (folder.size() + sizeof "/files" >= PATH_MAX) {
            failed = ENAMETOOLONG;
            break;
        }
        const int registered = registerFolder(folder);
        if (mkdir(folder.c_str(), S_IRWXU) == 0) {
            path = folder;
            slot = registered;
            failed = mkdir(files().c_str(), S_IRWXU) == 0 ? 0 : errno;
        } else {
            failed = errno == EEXIST && tries < 10 ? 0 : errno;
            releaseSlot(registered);
        }
    }
    if (failed != 0)
        throw Refusal{loomfileCannotWrite, "no temporary folder can be made in " + place + " " + systemReason(failed)};
}

WorkFolder::~WorkFolder()
{
    if (!isMade())
        return;
    try {
        removeTree(path);
    } catch (const std::bad_alloc&) {
        rmdir(path.c_str());
    }
    releaseSlot(slot);
}

bool WorkFolder::has(const std::string& member) const
{
    return isMade() && access(name(member).c_str(), F_OK) == 0;
}

std::string WorkFolder::contentsOf(const std::string& member) const
{
    FILE* file = isMade() ? fopen(name(member).c_str(), "rbe") : nullptr;
    if (file == nullptr)
        return "";
    char text[4096];
    std::string contents(text, fread(text, 1, sizeof text, file));
    fclose(file);
    return contents;
}

std::string WorkFolder::lineOf(const std::string& member) const
{
    constexpr size_t longest = 200;
    std::string line = contentsOf(member);
    line.erase(0, line.find_first_not_of('\n'));
    line.resize(std::min({line.find('\n'), line.size(), longest}));
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

void WorkFolder::removeMember(const std::string& member) const
{
    if (isMade())
        unlink(name(member).c_str());
}

std::string WorkFolder::link(const std::string& target, const std::string& linkName)
{
    const std::string folder = name("links");
    std::string made = folder + "/" + linkName;
    std::error_code error;
    fs::create_directory(folder, error);
    fs::remove(made, error);
    fs::create_symlink(fs::absolute(target), made, error);
    if (error)
        throw Refusal{loomfileCannotWrite, "no link can be made in " + folder + " " + systemReason(error.value())};
    return made;
}

void removeAllWorkFolders()
{
    for (Slot& slot : slots) {
        if (slot.state != Slot::isFilled)
            continue;
        // A helper that is ending, too, may still be writing into it.
        constexpr int mostTries = 20;
        constexpr timespec pause = {0, 50000000};
        for (int tries = 0; tries < mostTries && access(slot.path, F_OK) == 0; tries++) {
            if (tries > 0)
                nanosleep(&pause, nullptr);
            const pid_t child = _Fork();
            if (child == 0) {
                close(STDERR_FILENO);
                execl("/bin/rm", "rm", "-rf", "--", slot.path, nullptr);
                _exit(1);
            }
            if (child > 0)
                waitpid(child, nullptr, 0);
        }
    }
}
