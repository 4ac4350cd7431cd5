#include "Host/Desktop/Isolation/Sandbox.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <linux/sockios.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LUMIVERA_NEEDS_ADDRESS_SPACE
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define LUMIVERA_NEEDS_ADDRESS_SPACE
#endif
#endif

namespace Lumivera::Sandbox {

namespace {

constexpr rlim_t kOpenFiles = 256;

/// The range of system calls that are newer than the list below.
constexpr int kFirstUnknownCall = 451;
constexpr int kLastUnknownCall = 511;

/// The landlock_ruleset_attr of the newest kernels; older kernels read only its first members.
struct Ruleset {
    std::uint64_t files = 0;
    std::uint64_t network = 0;
    std::uint64_t scopes = 0;
};

constexpr std::uint64_t kReading = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;

constexpr std::uint64_t bitsBelow(unsigned count) { return (std::uint64_t{1} << count) - 1; }

int landlockVersion() {
    return static_cast<int>(
        syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION));
}

/// All rights that this Landlock version can restrict.
Ruleset rulesetOf(int version) {
    const unsigned files = version >= 5 ? 16 : version >= 3 ? 15 : version == 2 ? 14 : 13;
    return {bitsBelow(files), version >= 4 ? bitsBelow(2) : 0, version >= 6 ? bitsBelow(2) : 0};
}

std::size_t rulesetBytes(int version) {
    return version >= 6 ? sizeof(Ruleset) : version >= 4 ? 16 : 8;
}

void allowReading(int ruleset, const std::string &path) {
    const int descriptor = open(path.c_str(), O_PATH | O_CLOEXEC);
    struct stat status;
    if (descriptor < 0 || fstat(descriptor, &status) != 0) {
        close(descriptor);
        return;
    }
    landlock_path_beneath_attr rule{};
    rule.allowed_access = S_ISDIR(status.st_mode) ? kReading : LANDLOCK_ACCESS_FS_READ_FILE;
    rule.parent_fd = descriptor;
    syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
    close(descriptor);
}

bool confineFiles(const std::vector<std::string> &readable) {
    const int version = landlockVersion();
    if (version < 1) {
        return false;
    }
    const Ruleset rules = rulesetOf(version);
    const auto ruleset =
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, rulesetBytes(version), 0));
    if (ruleset < 0) {
        return false;
    }
    for (const std::string &path : readable) {
        allowReading(ruleset, path);
    }
    const bool isConfined = syscall(SYS_landlock_restrict_self, ruleset, 0) == 0;
    close(ruleset);
    return isConfined;
}

/// System calls that act outside the process. Drawing, threads and reading files need none of them.
constexpr int kForbidden[] = {
    // New connections, and sending descriptors over an existing one.
    SCMP_SYS(sendmsg), SCMP_SYS(sendmmsg), SCMP_SYS(socket), SCMP_SYS(socketpair), SCMP_SYS(bind),
    SCMP_SYS(listen), SCMP_SYS(accept), SCMP_SYS(accept4), SCMP_SYS(connect),
    // Other programs and processes.
    SCMP_SYS(execve), SCMP_SYS(execveat), SCMP_SYS(fork), SCMP_SYS(vfork), SCMP_SYS(ptrace),
    SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev), SCMP_SYS(process_madvise),
    SCMP_SYS(pidfd_open), SCMP_SYS(pidfd_getfd), SCMP_SYS(pidfd_send_signal), SCMP_SYS(tkill),
    SCMP_SYS(rt_sigqueueinfo), SCMP_SYS(rt_tgsigqueueinfo), SCMP_SYS(setpgid), SCMP_SYS(setsid),
    SCMP_SYS(setpriority), SCMP_SYS(kcmp), SCMP_SYS(sched_setaffinity),
    SCMP_SYS(sched_setscheduler), SCMP_SYS(sched_setparam), SCMP_SYS(sched_setattr),
    SCMP_SYS(ioprio_set), SCMP_SYS(migrate_pages), SCMP_SYS(move_pages), SCMP_SYS(process_mrelease),
    SCMP_SYS(timer_create),
    // Changing files, and memory or messages shared with other processes.
    SCMP_SYS(creat), SCMP_SYS(unlink), SCMP_SYS(unlinkat), SCMP_SYS(rename), SCMP_SYS(renameat),
    SCMP_SYS(renameat2), SCMP_SYS(mkdir), SCMP_SYS(mkdirat), SCMP_SYS(rmdir), SCMP_SYS(link),
    SCMP_SYS(linkat), SCMP_SYS(symlink), SCMP_SYS(symlinkat), SCMP_SYS(mknod), SCMP_SYS(mknodat),
    SCMP_SYS(truncate), SCMP_SYS(chmod), SCMP_SYS(fchmod), SCMP_SYS(fchmodat), SCMP_SYS(chown),
    SCMP_SYS(fchown), SCMP_SYS(lchown), SCMP_SYS(fchownat), SCMP_SYS(utime), SCMP_SYS(utimes),
    SCMP_SYS(utimensat), SCMP_SYS(futimesat), SCMP_SYS(setxattr), SCMP_SYS(lsetxattr),
    SCMP_SYS(fsetxattr), SCMP_SYS(removexattr), SCMP_SYS(lremovexattr), SCMP_SYS(fremovexattr),
    SCMP_SYS(flock), SCMP_SYS(mq_open), SCMP_SYS(mq_unlink), SCMP_SYS(msgget), SCMP_SYS(msgctl),
    SCMP_SYS(msgsnd), SCMP_SYS(msgrcv), SCMP_SYS(semget), SCMP_SYS(semctl), SCMP_SYS(semop),
    SCMP_SYS(semtimedop), SCMP_SYS(shmget), SCMP_SYS(shmctl), SCMP_SYS(shmat),
    SCMP_SYS(memfd_create), SCMP_SYS(memfd_secret), SCMP_SYS(inotify_init), SCMP_SYS(inotify_init1),
    SCMP_SYS(fanotify_init), SCMP_SYS(open_by_handle_at), SCMP_SYS(name_to_handle_at),
    // Mounts, kernel modules, clocks and other state of the whole system.
    SCMP_SYS(mount), SCMP_SYS(mount_setattr), SCMP_SYS(umount2), SCMP_SYS(open_tree),
    SCMP_SYS(move_mount), SCMP_SYS(fsopen), SCMP_SYS(fsmount), SCMP_SYS(chroot),
    SCMP_SYS(pivot_root), SCMP_SYS(unshare), SCMP_SYS(setns), SCMP_SYS(bpf),
    SCMP_SYS(perf_event_open), SCMP_SYS(keyctl), SCMP_SYS(add_key), SCMP_SYS(request_key),
    SCMP_SYS(userfaultfd), SCMP_SYS(io_uring_setup), SCMP_SYS(init_module), SCMP_SYS(finit_module),
    SCMP_SYS(delete_module), SCMP_SYS(kexec_load), SCMP_SYS(reboot), SCMP_SYS(swapon),
    SCMP_SYS(swapoff), SCMP_SYS(acct), SCMP_SYS(syslog), SCMP_SYS(settimeofday),
    SCMP_SYS(clock_settime), SCMP_SYS(adjtimex), SCMP_SYS(setrlimit), SCMP_SYS(personality),
    SCMP_SYS(quotactl), SCMP_SYS(vhangup), SCMP_SYS(ioperm), SCMP_SYS(iopl)};

void forbid(scmp_filter_ctx filter, int call, int error = EPERM) {
    seccomp_rule_add(filter, SCMP_ACT_ERRNO(static_cast<unsigned>(error)), call, 0);
}

/// Forbids the call where its argument meets the condition.
void forbidWhere(scmp_filter_ctx filter, int call, const scmp_arg_cmp &condition) {
    seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), call, 1, condition);
}

/// Restricts the arguments of needed calls that could affect other processes: signals on readable
/// descriptors, leases, pipe buffers, resource limits, and outliving the host.
void confineArguments(scmp_filter_ctx filter) {
    for (const scmp_datum_t command :
         {F_SETOWN, F_SETOWN_EX, F_SETSIG, F_SETLEASE, F_NOTIFY, F_SETPIPE_SZ}) {
        forbidWhere(filter, SCMP_SYS(fcntl), SCMP_A1(SCMP_CMP_EQ, command, 0));
    }
    for (const scmp_datum_t request : {TIOCSTI, FIOASYNC, FIOSETOWN, SIOCSPGRP}) {
        forbidWhere(filter, SCMP_SYS(ioctl), SCMP_A1(SCMP_CMP_MASKED_EQ, 0xFFFFFFFF, request));
    }
    forbidWhere(filter, SCMP_SYS(prlimit64), SCMP_A2(SCMP_CMP_NE, 0, 0));
    forbidWhere(filter, SCMP_SYS(prctl), SCMP_A0(SCMP_CMP_MASKED_EQ, 0xFFFFFFFF, PR_SET_PDEATHSIG));
    forbidWhere(filter, SCMP_SYS(sendto), SCMP_A4(SCMP_CMP_NE, 0, 0));
}

/// Files may only be opened for reading.
void confineOpening(scmp_filter_ctx filter) {
    const struct {
        scmp_datum_t bits;
        scmp_datum_t value;
    } ways[] = {{O_ACCMODE, O_WRONLY}, {O_ACCMODE, O_RDWR}, {O_CREAT, O_CREAT}, {O_TRUNC, O_TRUNC}};
    for (const auto &way : ways) {
        forbidWhere(filter, SCMP_SYS(open), SCMP_A1(SCMP_CMP_MASKED_EQ, way.bits, way.value));
        forbidWhere(filter, SCMP_SYS(openat), SCMP_A2(SCMP_CMP_MASKED_EQ, way.bits, way.value));
    }
}

/// Allows a call unless a rule forbids it. Calls whose arguments are in memory, where the filter
/// cannot see them, fail with ENOSYS, so that the C library falls back to older ones. So do unknown
/// newer calls.
bool confineCalls() {
    const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    if (!filter) {
        return false;
    }
    for (const int call : kForbidden) {
        forbid(filter, call);
    }
    forbid(filter, SCMP_SYS(clone3), ENOSYS);
    forbid(filter, SCMP_SYS(openat2), ENOSYS);
    for (int call = kFirstUnknownCall; call <= kLastUnknownCall; ++call) {
        forbid(filter, call, ENOSYS);
    }
    forbidWhere(filter, SCMP_SYS(clone), SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, 0));
    const auto self = static_cast<scmp_datum_t>(getpid());
    for (const int call : {SCMP_SYS(kill), SCMP_SYS(tgkill)}) {
        forbidWhere(filter, call, SCMP_A0(SCMP_CMP_NE, self, 0));
    }
    confineArguments(filter);
    confineOpening(filter);
    const bool isConfined = seccomp_load(filter) == 0;
    seccomp_release(filter);
    return isConfined;
}

/// Lowers a limit; one that is lower already stays.
bool limit(__rlimit_resource resource, rlim_t amount) {
    rlimit value{};
    if (getrlimit(resource, &value) != 0) {
        return false;
    }
    value = {std::min(value.rlim_cur, amount), std::min(value.rlim_max, amount)};
    return setrlimit(resource, &value) == 0;
}

bool limitResources([[maybe_unused]] rlim_t bytes) {
    bool isLimited = limit(RLIMIT_CORE, 0);
    isLimited = limit(RLIMIT_NOFILE, kOpenFiles) && isLimited;
#ifndef LUMIVERA_NEEDS_ADDRESS_SPACE
    isLimited = limit(RLIMIT_AS, bytes) && isLimited;
#endif
    return isLimited;
}

} // namespace

std::vector<Protection> available() {
    const int version = landlockVersion();
    const std::uint32_t action = SECCOMP_RET_ERRNO;
    return {{"no new privileges", prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) >= 0},
            {"no files but for reading the wallpaper (Landlock)", version >= 1},
            {"no signals to other programs (Landlock)", version >= 6},
            {"no network, no other programs (seccomp)",
             syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0},
            {"a memory limit", true}};
}

std::uint32_t enter(const Limits &limits) {
    const std::vector<Protection> offered = available();
    const bool isMemoryLimited = limitResources(limits.bytes);
    const bool isWithoutPrivileges = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
    const bool areFilesConfined = isWithoutPrivileges && confineFiles(limits.readable);
    const bool areCallsConfined = isWithoutPrivileges && confineCalls();
    const bool holds[] = {isWithoutPrivileges, areFilesConfined, areFilesConfined, areCallsConfined,
                          isMemoryLimited};
    std::uint32_t refused = 0;
    for (std::size_t i = 0; i < std::size(holds); ++i) {
        refused |= offered.at(i).holds && !holds[i] ? 1U << i : 0;
    }
    return refused;
}

} // namespace Lumivera::Sandbox
