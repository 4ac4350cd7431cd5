#include "Host/Desktop/Isolation/Sandbox.h"
#include "Tests/Host/Hostile/Deeds.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <linux/aio_abi.h>
#include <linux/bpf.h>
#include <linux/keyctl.h>
#include <linux/landlock.h>
#include <linux/perf_event.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/personality.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timex.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

constexpr unsigned N = Lumivera::Sandbox::kNamespaces;
constexpr unsigned L = Lumivera::Sandbox::kFileRules;
constexpr unsigned S = Lumivera::Sandbox::kCallFilter;
constexpr unsigned R = Lumivera::Sandbox::kLimits;
constexpr long kHighBits = 1L << 32;

/// Pages in a pipe count to nobody, and cannot be taken away.
bool pinsMemory(const Victims &) {
    int ends[2];
    static char page[4096];
    const iovec part{page, sizeof page};
    return pipe(ends) == 0 && vmsplice(ends[1], &part, 1, SPLICE_F_GIFT) > 0;
}

bool enlargesPipe(const Victims &) {
    int ends[2];
    return pipe(ends) == 0 && syscall(SYS_fcntl, ends[0], F_SETPIPE_SZ | kHighBits, 1 << 18) > 0;
}

bool takesRequests(const Victims &) {
    aio_context_t context = 0;
    return syscall(SYS_io_setup, 128, &context) == 0;
}

/// Each rule takes kernel memory.
bool addsRules(const Victims &) {
    landlock_ruleset_attr rules{};
    rules.handled_access_fs = LANDLOCK_ACCESS_FS_EXECUTE;
    return syscall(SYS_landlock_create_ruleset, &rules, sizeof rules.handled_access_fs, 0) >= 0;
}

bool loadsProgram(const Victims &) {
    bpf_attr attributes{};
    attributes.map_type = BPF_MAP_TYPE_ARRAY;
    attributes.key_size = attributes.value_size = 4;
    attributes.max_entries = 1;
    return syscall(SYS_bpf, BPF_MAP_CREATE, &attributes, sizeof attributes) >= 0;
}

bool measures(const Victims &) {
    perf_event_attr attributes{};
    attributes.type = PERF_TYPE_SOFTWARE;
    attributes.size = sizeof attributes;
    attributes.config = PERF_COUNT_SW_CPU_CLOCK;
    return syscall(SYS_perf_event_open, &attributes, 0, -1, -1, 0) >= 0;
}

bool makesRings(const Victims &) {
    char parameters[120] = {};
    return syscall(SYS_io_uring_setup, 4, parameters) >= 0;
}

bool sendsDescriptor(const Victims &victims) {
    union {
        cmsghdr header;
        char bytes[CMSG_SPACE(sizeof(int))];
    } attachment{};
    char byte = 'x';
    iovec part{&byte, 1};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = attachment.bytes;
    message.msg_controllen = sizeof attachment.bytes;
    cmsghdr *const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    return sendmsg(victims.connection(), &message, 0) > 0;
}

bool findsKey(const Victims &victims) {
    const auto holds = [&victims](int ring) {
        return syscall(SYS_keyctl, KEYCTL_SEARCH, ring, "user", victims.keyName().c_str(), 0) > 0;
    };
    char text[64];
    return holds(KEY_SPEC_SESSION_KEYRING) || holds(KEY_SPEC_USER_KEYRING) ||
           holds(KEY_SPEC_USER_SESSION_KEYRING) ||
           syscall(SYS_keyctl, KEYCTL_READ, victims.key(), text, sizeof text) >= 0;
}

bool describesKey(const Victims &victims) {
    char text[64];
    return syscall(SYS_keyctl, KEYCTL_DESCRIBE, victims.key(), text, sizeof text) > 0;
}

bool makesKey(const Victims &) {
    return syscall(SYS_add_key, "user", "hostile", "x", 1, KEY_SPEC_PROCESS_KEYRING) > 0;
}

bool takesMemoryOf(long file) {
    return file >= 0 && ftruncate(static_cast<int>(file), 1 << 20) == 0;
}

/// A timer has memory of the kernel; so have many.
bool makesTimers(const Victims &) {
    constexpr int kMany = 1000;
    timer_t timer;
    int count = 0;
    while (count < kMany && timer_create(CLOCK_MONOTONIC, nullptr, &timer) == 0) {
        ++count;
    }
    return count == kMany;
}

/// The limits, where the kernel offers to refuse memory that is written and run.
unsigned limitsOfCode() {
    constexpr int kGet = 66; // PR_GET_MDWE
    return prctl(kGet, 0, 0, 0, 0) >= 0 ? R : 0;
}

/// Namespaces and limits, which both take the rights of root away, where this setting of the kernel
/// asks for them. Debian's kernels do.
unsigned whereRightsAreAskedFor(const char *setting, int from) {
    int value = 0;
    std::ifstream(std::string("/proc/sys/") + setting) >> value;
    return value >= from ? N | R : 0;
}

bool makesThreadOfOtherKind(long flags) {
    const long child = syscall(SYS_clone, flags, nullptr, nullptr, nullptr, nullptr);
    if (child == 0) {
        _exit(0);
    }
    return child > 0;
}

bool makesProcessByRecord(const Victims &) {
    std::uint64_t arguments[8] = {};
    arguments[4] = SIGCHLD;
    const long child = syscall(SYS_clone3, arguments, sizeof arguments);
    if (child == 0) {
        _exit(0);
    }
    return child > 0;
}

} // namespace

const std::vector<Deed> &systemDeeds() {
    static const std::vector<Deed> deeds = {
        {"makes user namespaces", N | S,
         [](const Victims &) { return unshare(CLONE_NEWUSER) == 0; }},
        {"mounts", N | L | S,
         [](const Victims &v) {
             const bool isMounted = mount("none", v.folder().c_str(), "tmpfs", 0, "size=4k") == 0;
             umount2(v.folder().c_str(), MNT_DETACH);
             return isMounted;
         }},
        {"makes a file system to mount", N | S,
         [](const Victims &) { return syscall(SYS_fsopen, "tmpfs", 0) >= 0; }},
        {"changes the host's name", N | S,
         [](const Victims &) {
             char name[256] = {};
             gethostname(name, sizeof name - 1);
             return sethostname(name, std::strlen(name)) == 0;
         }},
        {"reads the kernel's log", N | S,
         [](const Victims &) {
             char text[64];
             return syscall(SYS_syslog, 3, text, sizeof text) >= 0;
         }},
#ifdef SYS_ioperm
        {"uses the ports of devices", N | S,
         [](const Victims &) { return syscall(SYS_ioperm, 0x80, 1, 1) == 0; }},
#endif
        {"changes the clock", N | S,
         [](const Victims &) {
             timex change{};
             change.modes = ADJ_TICK;
             change.tick = 10'000;
             return adjtimex(&change) >= 0;
         }},
        // The rest spends the kernel's memory or the machine's time, or reaches parts of the kernel
        // that often have mistakes. Where only the call filter stops it, the kernel offers no other
        // wall.
        {"pins memory in a pipe", S, pinsMemory},
        {"enlarges a pipe with high bits", S, enlargesPipe},
        {"takes the system's requests", S, takesRequests},
        {"takes memory for rules", S, addsRules},
        {"takes memory without an address", S | R,
         [](const Victims &) { return takesMemoryOf(memfd_create("x", 0)); }},
        {"takes secret memory", S | R,
         [](const Victims &) { return takesMemoryOf(syscall(SYS_memfd_secret, 0)); }},
        {"makes a memory file", S, [](const Victims &) { return memfd_create("x", 0) >= 0; }},
        {"locks memory", S | R,
         [](const Victims &) {
             return mmap(nullptr, 1 << 21, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_LOCKED, -1,
                         0) != MAP_FAILED;
         }},
        {"merges memory", S,
         [](const Victims &) {
             return madvise(mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0),
                            4096, MADV_MERGEABLE) == 0;
         }},
        {"makes memory that it writes and runs", S | limitsOfCode(),
         [](const Victims &) {
             return mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC,
                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED;
         }},
        {"makes a thousand timers", S | R, makesTimers},
        {"makes a timer", S,
         [](const Victims &) {
             timer_t timer;
             return timer_create(CLOCK_MONOTONIC, nullptr, &timer) == 0;
         }},
        {"writes out all files", S,
         [](const Victims &v) { return syncfs(v.connection()) == 0 || errno == EBADF; }},
        {"changes its personality", S,
         [](const Victims &) { return personality(ADDR_NO_RANDOMIZE) >= 0; }},
        {"loads a program into the kernel",
         S | whereRightsAreAskedFor("kernel/unprivileged_bpf_disabled", 1), loadsProgram},
        {"measures the kernel", S | whereRightsAreAskedFor("kernel/perf_event_paranoid", 2),
         measures},
        {"handles page faults of the kernel", N | S | R,
         [](const Victims &) { return syscall(SYS_userfaultfd, 0) >= 0; }},
        {"handles its own page faults", S,
         [](const Victims &) { return syscall(SYS_userfaultfd, 1) >= 0; }},
        {"makes rings", S, makesRings},
        {"reads a key of the user", N | S, findsKey},
        {"learns the name of a key by its number", S, describesKey},
        {"makes a key", S, makesKey},
        {"adds filters", S,
         [](const Victims &) {
             return syscall(SYS_seccomp, 1, 0, nullptr) < 0 && errno == EFAULT;
         }},
        {"attaches a descriptor", S, sendsDescriptor},
        {"signals when data arrives", S,
         [](const Victims &v) {
             return syscall(SYS_fcntl, v.connection(), F_SETSIG | kHighBits, SIGKILL) == 0;
         }},
        {"leases a file with high bits", S,
         [](const Victims &v) {
             return syscall(SYS_fcntl, open(v.picture().c_str(), O_RDONLY), F_SETLEASE | kHighBits,
                            F_RDLCK) == 0;
         }},
        {"is notified of a folder", S,
         [](const Victims &v) {
             return syscall(SYS_fcntl, open(v.bundle().c_str(), O_RDONLY), F_NOTIFY | kHighBits,
                            DN_ACCESS) == 0;
         }},
        {"outlives the host", S,
         [](const Victims &) { return syscall(SYS_prctl, PR_SET_PDEATHSIG | kHighBits, 0) == 0; }},
        {"makes a process", S, [](const Victims &) { return makesThreadOfOtherKind(SIGCHLD); }},
        {"makes a process with high bits", S,
         [](const Victims &) { return makesThreadOfOtherKind(SIGCHLD | kHighBits); }},
        {"makes a process by a record", S, makesProcessByRecord},
    };
    return deeds;
}
