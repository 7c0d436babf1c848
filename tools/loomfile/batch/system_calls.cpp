#include "batch/system_calls.h"

#ifdef LOOMFILE_SECCOMP

#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <initializer_list>

#include "tload.h"

namespace
{

// What decoders and helper programs never need. What a kernel or a processor does not know is left out.
constexpr const char* denied[] = {
    // connections
    "socket", "connect", "bind", "listen", "accept", "accept4",
    // other processes
    "ptrace", "process_vm_readv", "process_vm_writev", "process_madvise", "pidfd_getfd", "kcmp",
    // who may do what with files, which Landlock does not ask about
    "chmod", "fchmod", "fchmodat", "fchmodat2", "chown", "fchown", "lchown", "fchownat", "setxattr", "lsetxattr",
    "fsetxattr", "removexattr", "lremovexattr", "fremovexattr", "utime", "utimes", "futimesat", "utimensat",
    "open_by_handle_at",
    // the system
    "mount", "umount", "umount2", "pivot_root", "chroot", "open_tree", "move_mount", "fsopen", "fspick", "fsmount",
    "fsconfig", "mount_setattr", "swapon", "swapoff", "quotactl", "acct", "reboot", "kexec_load", "kexec_file_load",
    "init_module", "finit_module", "delete_module", "sethostname", "setdomainname", "settimeofday", "clock_settime",
    "clock_adjtime", "adjtimex", "syslog", "iopl", "ioperm", "unshare", "setns",
    // wide gates into the kernel
    "bpf", "perf_event_open", "userfaultfd", "io_uring_setup", "io_uring_enter", "io_uring_register", "keyctl",
    "add_key", "request_key", "fanotify_init", "vmsplice"};

constexpr u64 newNamespaces =
    CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;

void addRules(scmp_filter_ctx filter)
{
    const u32 refuse = SCMP_ACT_ERRNO(EPERM);
    for (const char* name : denied)
        seccomp_rule_add(filter, refuse, seccomp_syscall_resolve_name(name), 0);
    // Typing into the terminal on behalf of who sits there.
    for (const u64 request : {u64{TIOCSTI}, u64{TIOCLINUX}})
        seccomp_rule_add(filter, refuse, SCMP_SYS(ioctl), 1, SCMP_A1(SCMP_CMP_MASKED_EQ, 0xFFFFFFFF, request));
    for (u64 flag = 1; flag <= newNamespaces; flag <<= 1) {
        if ((newNamespaces & flag) != 0)
            seccomp_rule_add(filter, refuse, SCMP_SYS(clone), 1, SCMP_A0(SCMP_CMP_MASKED_EQ, flag, flag));
    }
    // Its flags lie in memory, where a filter does not see them; without it clone is used.
    seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), 0);
}

} // namespace

void confineSystemCalls()
{
    scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    if (filter == nullptr)
        return;
    seccomp_attr_set(filter, SCMP_FLTATR_CTL_OPTIMIZE, 2); // a tree, not a list
    addRules(filter);
    seccomp_load(filter);
    seccomp_release(filter);
}

#else

void confineSystemCalls() {}

#endif
