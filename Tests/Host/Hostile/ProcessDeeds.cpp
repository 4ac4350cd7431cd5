#include "Host/Desktop/Isolation/Sandbox.h"
#include "Tests/Host/Hostile/Deeds.h"

#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <linux/kcmp.h>
#include <linux/sockios.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

constexpr unsigned N = Lumivera::Sandbox::kNamespaces;
constexpr unsigned L = Lumivera::Sandbox::kFileRules;
constexpr unsigned S = Lumivera::Sandbox::kCallFilter;
constexpr int kSignal = SIGUSR1;
constexpr long kHighBits = 1L << 32;

/// Has the kernel send the signal for us: data arrives on a descriptor that belongs to another
/// process. Whether it was sent can be seen there only.
bool signalsByData(const Victims &victims, bool isOwned, long highBits) {
    const int connection = victims.connection();
    return isOwned && syscall(SYS_fcntl, connection, F_SETSIG | highBits, kSignal) == 0 &&
           syscall(SYS_fcntl, connection, F_SETFL, O_ASYNC) == 0 &&
           write(victims.otherEnd(), "x", 1) == 1;
}

bool ownsByNumber(const Victims &victims, long highBits) {
    return syscall(SYS_fcntl, victims.connection(), F_SETOWN | highBits, victims.process()) == 0;
}

bool ownsByRecord(const Victims &victims) {
    const struct {
        int kind;
        pid_t process;
    } owner{F_OWNER_PID, victims.process()};
    return syscall(SYS_fcntl, victims.connection(), F_SETOWN_EX, &owner) == 0;
}

bool ownsByRequest(const Victims &victims, unsigned long request) {
    const pid_t owner = victims.process();
    return syscall(SYS_ioctl, victims.connection(), request, &owner) == 0;
}

bool wasSent(const Victims &victims) { return victims.wasSent(kSignal); }

bool queues(const Victims &victims, bool toThread) {
    siginfo_t info{};
    info.si_code = SI_QUEUE;
    return toThread ? syscall(SYS_rt_tgsigqueueinfo, victims.process(), victims.process(), kSignal,
                              &info) == 0
                    : syscall(SYS_rt_sigqueueinfo, victims.process(), kSignal, &info) == 0;
}

bool signalsByDescriptor(const Victims &victims) {
    const long process = syscall(SYS_pidfd_open, victims.process(), 0);
    return process >= 0 && syscall(SYS_pidfd_send_signal, process, kSignal, nullptr, 0) == 0;
}

bool takesDescriptor(const Victims &victims) {
    const long process = syscall(SYS_pidfd_open, victims.process(), 0);
    return process >= 0 && syscall(SYS_pidfd_getfd, process, 1, 0) >= 0;
}

int readable = 7;

bool copiesMemory(const Victims &victims, long call) {
    int copy = 0;
    const iovec here{&copy, sizeof copy};
    const iovec there{&readable, sizeof readable};
    return syscall(call, victims.process(), &here, 1, &there, 1, 0) == sizeof copy;
}

#ifdef __x86_64__
/// A system call in the mode of 32-bit programs; pointers must lie below 4 GiB.
long call32(long number, long first, long second, long third) {
    long result = 0;
    asm volatile("int $0x80"
                 : "=a"(result)
                 : "a"(number), "b"(first), "c"(second), "d"(third)
                 : "memory", "r8", "r9", "r10", "r11");
    return static_cast<int>(result);
}

constexpr long kOpen32 = 5;
constexpr long kKill32 = 37;
constexpr long kX32 = 0x40000000;

bool opens32(const Victims &victims) {
    void *low =
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_32BIT, -1, 0);
    if (low == MAP_FAILED) { // the filter knows no such flag
        low = mmap(reinterpret_cast<void *>(0x10000000), 4096, PROT_READ | PROT_WRITE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
    }
    const std::string path = victims.mine();
    path.copy(static_cast<char *>(low), path.size());
    return call32(kOpen32, reinterpret_cast<long>(low), O_WRONLY, 0) >= 0;
}
#endif

bool lowers(const Victims &victims) {
    const rlimit none{0, 0};
    return prlimit(victims.process(), RLIMIT_CORE, &none, nullptr) == 0;
}

bool pins(const Victims &victims) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(0, &processors);
    return sched_setaffinity(victims.process(), sizeof processors, &processors) == 0;
}

bool schedules(const Victims &victims) {
    const sched_param none{};
    return sched_setscheduler(victims.process(), SCHED_BATCH, &none) == 0;
}

bool runs(const char *program) {
    char *const arguments[] = {const_cast<char *>(program), const_cast<char *>("--version"),
                               nullptr};
    char *const environment[] = {nullptr};
    const int output = open("/dev/null", O_RDONLY);
    dup2(output, STDOUT_FILENO);
    const pid_t child = fork();
    if (child == 0) {
        execve(program, arguments, environment);
        _exit(99);
    }
    int status = 0;
    return child > 0 && syscall(SYS_wait4, child, &status, 0, nullptr) == child &&
           status != 99 << 8;
}

} // namespace

const std::vector<Deed> &processDeeds() {
    static const std::vector<Deed> deeds = {
        {"signals with kill", N | L | S, [](const Victims &v) { return kill(v.process(), 0) == 0; },
         6},
        {"signals with kill and high bits", N | L | S,
         [](const Victims &v) { return syscall(SYS_kill, v.process() | kHighBits, 0) == 0; }, 6},
        {"signals with tkill", N | L | S,
         [](const Victims &v) { return syscall(SYS_tkill, v.process(), kSignal) == 0; }, 6},
        {"signals with tgkill", N | L | S,
         [](const Victims &v) {
             return syscall(SYS_tgkill, v.process(), v.process(), kSignal) == 0;
         },
         6},
        {"queues a signal", N | L | S, [](const Victims &v) { return queues(v, false); }, 6},
        {"queues a signal to a thread", N | L | S, [](const Victims &v) { return queues(v, true); },
         6},
        {"signals with a descriptor", N | L | S, signalsByDescriptor, 6},
        {"signals by F_SETOWN", N | L | S,
         [](const Victims &v) { return signalsByData(v, ownsByNumber(v, 0), 0); }, 6, wasSent},
        {"signals by F_SETOWN with high bits", N | L | S,
         [](const Victims &v) { return signalsByData(v, ownsByNumber(v, kHighBits), kHighBits); },
         6, wasSent},
        {"signals by F_SETOWN_EX", N | L | S,
         [](const Victims &v) { return signalsByData(v, ownsByRecord(v), kHighBits); }, 6, wasSent},
        {"signals by FIOSETOWN", N | L | S,
         [](const Victims &v) { return signalsByData(v, ownsByRequest(v, FIOSETOWN), 0); }, 6,
         wasSent},
        {"signals by SIOCSPGRP with high bits", N | L | S,
         [](const Victims &v) {
             return signalsByData(v, ownsByRequest(v, SIOCSPGRP | 1UL << 32), 0);
         },
         6, wasSent},
        {"traces a process", N | L | S,
         [](const Victims &v) { return ptrace(PTRACE_SEIZE, v.process(), nullptr, nullptr) == 0; }},
        {"reads the memory of a process", N | L | S,
         [](const Victims &v) { return copiesMemory(v, SYS_process_vm_readv); }},
        {"writes the memory of a process", N | L | S,
         [](const Victims &v) { return copiesMemory(v, SYS_process_vm_writev); }},
        {"takes a descriptor of a process", N | L | S, takesDescriptor},
        {"compares processes", N | L | S,
         [](const Victims &v) {
             return syscall(SYS_kcmp, v.process(), v.process(), KCMP_VM, 0, 0) == 0;
         }},
        {"moves the pages of a process", N | L | S,
         [](const Victims &v) {
             unsigned long nodes = 1;
             return syscall(SYS_migrate_pages, v.process(), 1, &nodes, &nodes) >= 0;
         }},
        {"lowers a limit of a process", N | S, lowers},
        {"lowers the priority of a process", N | S,
         [](const Victims &v) {
             return setpriority(PRIO_PROCESS, static_cast<id_t>(v.process()), 10) == 0;
         }},
        {"binds a process to a core", N | S, pins},
        {"changes how a process is scheduled", N | S, schedules},
        {"lowers the disk priority of a process", N | S,
         [](const Victims &v) { return syscall(SYS_ioprio_set, 1, v.process(), 3 << 13) == 0; }},
        {"runs a program", N | L | S, [](const Victims &) { return runs("/bin/true"); }},
        {"runs the dynamic loader", L | S,
         [](const Victims &) { return runs("/lib64/ld-linux-x86-64.so.2"); }},
#ifdef __x86_64__
        {"signals by int 0x80", N | L | S,
         [](const Victims &v) { return call32(kKill32, v.process(), 0, 0) == 0; }, 6},
        {"opens a file to write by int 0x80", N | L | S, opens32},
        {"signals as x32", N | L | S,
         [](const Victims &v) { return syscall(kX32 | SYS_kill, v.process(), 0) == 0; }, 6},
#endif
    };
    return deeds;
}
