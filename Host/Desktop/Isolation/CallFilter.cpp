#include "Host/Desktop/Isolation/CallFilter.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <linux/futex.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifndef MADV_GUARD_INSTALL
#define MADV_GUARD_INSTALL 102
#define MADV_GUARD_REMOVE 103
#endif
#ifndef MAP_DROPPABLE
#define MAP_DROPPABLE 0x08
#endif
#ifndef PR_SET_VMA
#define PR_SET_VMA 0x53564d41
#endif

namespace Lumivera::CallFilter {

namespace {

/// The kernel takes these arguments as 32-bit words, so the upper halves must not count.
constexpr scmp_datum_t kWord = 0xFFFFFFFF;

/// Calls that may be made with any arguments: they reach nothing outside of the process but files
/// that were opened for reading, the connection to the host, and clocks.
constexpr int kAllowed[] = {
    // Files. Where they may lie is up to the other walls.
    SCMP_SYS(read), SCMP_SYS(readv), SCMP_SYS(pread64), SCMP_SYS(preadv), SCMP_SYS(write),
    SCMP_SYS(writev), SCMP_SYS(close), SCMP_SYS(close_range), SCMP_SYS(lseek), SCMP_SYS(_llseek),
    SCMP_SYS(fstat), SCMP_SYS(fstat64), SCMP_SYS(stat), SCMP_SYS(stat64), SCMP_SYS(lstat),
    SCMP_SYS(lstat64), SCMP_SYS(newfstatat), SCMP_SYS(fstatat64), SCMP_SYS(statx), SCMP_SYS(access),
    SCMP_SYS(faccessat), SCMP_SYS(faccessat2), SCMP_SYS(readlink), SCMP_SYS(readlinkat),
    SCMP_SYS(getdents), SCMP_SYS(getdents64), SCMP_SYS(getcwd), SCMP_SYS(dup), SCMP_SYS(dup2),
    SCMP_SYS(dup3),
    // Memory.
    SCMP_SYS(brk), SCMP_SYS(munmap), SCMP_SYS(mremap),
    // Threads and signals to oneself.
    SCMP_SYS(set_robust_list), SCMP_SYS(rseq), SCMP_SYS(set_tid_address), SCMP_SYS(exit),
    SCMP_SYS(exit_group), SCMP_SYS(gettid), SCMP_SYS(getpid), SCMP_SYS(getppid),
    SCMP_SYS(sched_yield), SCMP_SYS(sched_getaffinity), SCMP_SYS(sched_getparam),
    SCMP_SYS(sched_getscheduler), SCMP_SYS(getcpu), SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn), SCMP_SYS(sigreturn), SCMP_SYS(sigaltstack),
    SCMP_SYS(restart_syscall), SCMP_SYS(pause),
    // Time, waiting, and waking each other.
    SCMP_SYS(clock_gettime), SCMP_SYS(clock_gettime64), SCMP_SYS(clock_getres),
    SCMP_SYS(clock_getres_time64), SCMP_SYS(clock_nanosleep), SCMP_SYS(clock_nanosleep_time64),
    SCMP_SYS(nanosleep), SCMP_SYS(gettimeofday), SCMP_SYS(time), SCMP_SYS(times), SCMP_SYS(poll),
    SCMP_SYS(ppoll), SCMP_SYS(ppoll_time64), SCMP_SYS(select), SCMP_SYS(_newselect),
    SCMP_SYS(pselect6), SCMP_SYS(pselect6_time64), SCMP_SYS(eventfd2), SCMP_SYS(pipe),
    SCMP_SYS(pipe2),
    // The connection to the host.
    SCMP_SYS(recvmsg), SCMP_SYS(recvfrom),
    // What a process may know of itself and of the machine.
    SCMP_SYS(getrandom), SCMP_SYS(uname), SCMP_SYS(sysinfo), SCMP_SYS(getrusage),
    SCMP_SYS(getrlimit), SCMP_SYS(ugetrlimit), SCMP_SYS(getuid), SCMP_SYS(geteuid),
    SCMP_SYS(getgid), SCMP_SYS(getegid), SCMP_SYS(getuid32), SCMP_SYS(geteuid32),
    SCMP_SYS(getgid32), SCMP_SYS(getegid32)};

/// Calls whose arguments the filter restricts.
constexpr int kRestricted[] = {SCMP_SYS(open),    SCMP_SYS(openat),       SCMP_SYS(fcntl),
                               SCMP_SYS(fcntl64), SCMP_SYS(ioctl),        SCMP_SYS(mmap),
                               SCMP_SYS(mmap2),   SCMP_SYS(mprotect),     SCMP_SYS(madvise),
                               SCMP_SYS(futex),   SCMP_SYS(futex_time64), SCMP_SYS(clone),
                               SCMP_SYS(prctl),   SCMP_SYS(prlimit64),    SCMP_SYS(kill),
                               SCMP_SYS(tgkill),  SCMP_SYS(sendto)};

/// Calls for which the C library has an older substitute. Their arguments are in memory, which the
/// filter cannot see.
constexpr int kMissing[] = {SCMP_SYS(clone3), SCMP_SYS(openat2)};

/// Later calls than this are younger than the list, so that a library must do without them.
const int kNewestKnown = SCMP_SYS(set_mempolicy_home_node);
constexpr int kLastUnknown = 511;

constexpr scmp_datum_t kReadingFlags =
    O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_DIRECTORY | O_NOFOLLOW | O_LARGEFILE;
constexpr scmp_datum_t kMapFlags = MAP_SHARED | MAP_PRIVATE | MAP_FIXED | MAP_ANONYMOUS |
                                   MAP_NORESERVE | MAP_STACK | MAP_DENYWRITE | MAP_FIXED_NOREPLACE |
                                   MAP_DROPPABLE; // for the C library's random numbers

/// Code may be limited to jumps to marked places, which the loader asks for where there are some.
#ifdef __aarch64__
constexpr scmp_datum_t kMarkedJumps = 0x10; // PROT_BTI
#else
constexpr scmp_datum_t kMarkedJumps = 0;
#endif

constexpr scmp_datum_t kThreadFlags = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND |
                                      CLONE_THREAD | CLONE_SYSVSEM | CLONE_SETTLS |
                                      CLONE_PARENT_SETTID | CLONE_CHILD_CLEARTID;

class Filter {
  public:
    explicit Filter(std::uint32_t standard) : _context(seccomp_init(standard)) {
        // Calls of other processor modes, by int 0x80 or as x32, do not exist.
        seccomp_attr_set(_context, SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_ERRNO(ENOSYS));
        seccomp_attr_set(_context, SCMP_FLTATR_CTL_OPTIMIZE, 2);
        seccomp_attr_set(_context, SCMP_FLTATR_CTL_NNP, 0);
    }
    ~Filter() { seccomp_release(_context); }
    Filter(const Filter &) = delete;
    Filter &operator=(const Filter &) = delete;

    void answer(int call, std::uint32_t action) { seccomp_rule_add(_context, action, call, 0); }
    void allow(int call) { answer(call, SCMP_ACT_ALLOW); }
    void refuse(int call, int error) { answer(call, SCMP_ACT_ERRNO(static_cast<unsigned>(error))); }

    void allowWhere(int call, const scmp_arg_cmp &condition) {
        seccomp_rule_add(_context, SCMP_ACT_ALLOW, call, 1, condition);
    }

    void allowWhere(int call, const scmp_arg_cmp &first, const scmp_arg_cmp &second) {
        seccomp_rule_add(_context, SCMP_ACT_ALLOW, call, 2, first, second);
    }

    bool load() { return _context && seccomp_load(_context) == 0; }
    int listener() const { return seccomp_notify_fd(_context); }

  private:
    const scmp_filter_ctx _context;
};

/// A condition: the word of the argument has no other bits than these.
scmp_arg_cmp within(unsigned argument, scmp_datum_t bits) {
    return {argument, SCMP_CMP_MASKED_EQ, kWord & ~bits, 0};
}

/// A condition: the word of the argument is that value, apart from the free bits.
scmp_arg_cmp equals(unsigned argument, scmp_datum_t value, scmp_datum_t free = 0) {
    return {argument, SCMP_CMP_MASKED_EQ, kWord & ~free, value};
}

/// Files may only be opened for reading: access modes 1 to 3 and whatever makes files are refused.
void allowOpening(Filter &filter) {
    filter.allowWhere(SCMP_SYS(open), within(1, kReadingFlags));
    filter.allowWhere(SCMP_SYS(openat), within(2, kReadingFlags));
    for (const int call : {SCMP_SYS(fcntl), SCMP_SYS(fcntl64)}) {
        for (const scmp_datum_t command : {F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL}) {
            filter.allowWhere(call, equals(1, command));
        }
        filter.allowWhere(call, equals(1, F_SETFL), {2, SCMP_CMP_MASKED_EQ, O_ASYNC, 0});
    }
    filter.allowWhere(SCMP_SYS(ioctl), equals(1, TCGETS));
}

/// No memory may be writable and executable at once, locked, or of huge pages.
void allowMemory(Filter &filter) {
    for (const scmp_datum_t protection : {PROT_NONE, PROT_READ, PROT_WRITE, PROT_READ | PROT_WRITE,
                                          PROT_EXEC, PROT_READ | PROT_EXEC}) {
        const scmp_arg_cmp isThat =
            equals(2, protection, (protection & PROT_EXEC) != 0 ? kMarkedJumps : 0);
        for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mmap2)}) {
            filter.allowWhere(call, isThat, within(3, kMapFlags));
        }
        filter.allowWhere(SCMP_SYS(mprotect), isThat);
    }
    for (const scmp_datum_t advice :
         {MADV_NORMAL, MADV_RANDOM, MADV_SEQUENTIAL, MADV_WILLNEED, MADV_DONTNEED, MADV_FREE,
          MADV_HUGEPAGE, MADV_NOHUGEPAGE, MADV_DONTDUMP, MADV_GUARD_INSTALL, MADV_GUARD_REMOVE}) {
        filter.allowWhere(SCMP_SYS(madvise), equals(2, advice));
    }
}

void allowThreads(Filter &filter) {
    for (const int call : {SCMP_SYS(futex), SCMP_SYS(futex_time64)}) {
        for (const scmp_datum_t operation :
             {FUTEX_WAIT, FUTEX_WAKE, FUTEX_REQUEUE, FUTEX_CMP_REQUEUE, FUTEX_WAKE_OP,
              FUTEX_WAIT_BITSET, FUTEX_WAKE_BITSET}) {
            filter.allowWhere(call,
                              equals(1, operation, FUTEX_PRIVATE_FLAG | FUTEX_CLOCK_REALTIME));
        }
    }
    filter.allowWhere(SCMP_SYS(clone), equals(0, kThreadFlags));
    for (const scmp_datum_t option : {PR_SET_NAME, PR_GET_NAME, PR_SET_VMA}) {
        filter.allowWhere(SCMP_SYS(prctl), equals(0, option));
    }
    const auto self = static_cast<scmp_datum_t>(getpid());
    filter.allowWhere(SCMP_SYS(kill), equals(0, self));
    filter.allowWhere(SCMP_SYS(tgkill), equals(0, self));
    // Reading the own limits; setting has a second pointer.
    filter.allowWhere(SCMP_SYS(prlimit64), equals(0, 0), {2, SCMP_CMP_EQ, 0, 0});
}

void allowAll(Filter &filter) {
    for (const int call : kAllowed) {
        filter.allow(call);
    }
    for (const int call : kMissing) {
        filter.refuse(call, ENOSYS);
    }
    for (int call = kNewestKnown + 1; call <= kLastUnknown; ++call) {
        filter.refuse(call, ENOSYS);
    }
    allowOpening(filter);
    allowMemory(filter);
    allowThreads(filter);
    // Without an address, so that only the other end of the connection can be reached.
    filter.allowWhere(SCMP_SYS(sendto), {4, SCMP_CMP_EQ, 0, 0});
}

/// What sending the listener away takes, and finish() refuses.
constexpr int kForFinishing[] = {SCMP_SYS(sendmsg), SCMP_SYS(seccomp)};

/// Fails where another program around this one has the listener already.
Entry enterTold() {
    Filter filter(SCMP_ACT_NOTIFY);
    allowAll(filter);
    for (const int call : kForFinishing) {
        filter.allow(call);
    }
    const bool holds = filter.load();
    return {holds, holds ? filter.listener() : -1};
}

} // namespace

Entry enter(Refusals refusals) {
    if (refusals == Refusals::Told) {
        if (const Entry entry = enterTold(); entry.holds) {
            return entry;
        }
    }
    Filter filter(SCMP_ACT_ERRNO(EPERM));
    allowAll(filter);
    return {filter.load(), -1};
}

bool isOffered() {
    const std::uint32_t action = SECCOMP_RET_ERRNO;
    return syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
}

bool finish() {
    Filter filter(SCMP_ACT_ALLOW);
    for (const int call : kForFinishing) {
        filter.refuse(call, EPERM);
    }
    return filter.load();
}

bool allows(int call) {
    const auto holds = [call](const auto &list) {
        return std::find(std::begin(list), std::end(list), call) != std::end(list);
    };
    return holds(kAllowed) || holds(kRestricted);
}

std::string nameOf(int call) {
    char *const name = seccomp_syscall_resolve_num_arch(SCMP_ARCH_NATIVE, call);
    const std::string text = name ? name : "number " + std::to_string(call);
    std::free(name);
    return text;
}

} // namespace Lumivera::CallFilter
