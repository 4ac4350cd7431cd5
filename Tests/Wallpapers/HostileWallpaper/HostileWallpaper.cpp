#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/AudioToolbox/AudioServices.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/UIKit/UIColor.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <map>
#include <memory>
#include <optional>
#include <pthread.h>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

// Does what no wallpaper should, at the moment that its bundle's name says, such as
// "crash-in-frame.bundle": in its entry point, while it loads, in its first or hundredth frame, or
// in another call. "number-in-return.bundle" and the like make the entry point give what is no
// view.

namespace {

constexpr int kFrame = 100;

/// The connection's descriptor, and the number of a system call that the C library does not wrap.
constexpr int kConnection = 3;
constexpr long kChangeMode = 452;

std::string bundleFolder;

[[noreturn]] void crash() {
    std::signal(SIGSEGV, SIG_DFL); // whoever looks for mistakes would make an exit of it
    // A signal that the first process of a namespace sends itself would not end it.
    static volatile std::uintptr_t nowhere = 64;
    *reinterpret_cast<volatile int *>(nowhere) = 1;
    std::abort();
}

/// As deep as the stack is, and deeper.
unsigned fall(unsigned depth) {
    volatile unsigned frame[256];
    frame[depth % 256] = depth;
    return depth == ~0U ? 0 : fall(depth + 1) + frame[depth % 256];
}

void overflow() {
    std::signal(SIGSEGV, SIG_DFL);
    fall(0);
}

[[noreturn]] void giveUp() {
    std::fputs("hostile.cpp:7: nothing is as it should be\n", stderr);
    std::abort();
}

[[noreturn]] void loop() {
    for (;;) {
        static volatile unsigned turns = 0;
        turns = turns + 1;
    }
}

[[noreturn]] void allocate() {
    constexpr std::size_t kPiece = std::size_t{16} << 20;
    static std::vector<char *> pieces;
    for (;;) {
        pieces.push_back(new char[kPiece]);
        std::memset(pieces.back(), 1, kPiece);
    }
}

[[noreturn]] void waitForEver() {
    for (;;) {
        pause();
    }
}

[[noreturn]] void leave() { std::exit(7); }

[[noreturn]] void leaveAtOnce() { _exit(7); }

[[noreturn]] void raiseException() { throw std::runtime_error("a wallpaper's own mistake"); }

[[noreturn]] void raiseNumber() { throw 42; }

/// The C++ library ends a thread of its own that throws.
void raiseInThread() {
    std::thread(raiseException).detach();
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

/// Takes as long as twenty frames.
void dawdle() {
    timespec start{}, now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &start);
    do {
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    } while (now.tv_sec - start.tv_sec + (now.tv_nsec - start.tv_nsec) / 1e9 < 1);
}

void print() {
    const std::string line(1000, 'x');
    for (int i = 0; i < 20'000; ++i) {
        std::fprintf(i % 2 ? stdout : stderr, "%s\n", line.c_str());
    }
}

/// Ends the process when something succeeds that a wallpaper may not do.
void forbid(bool hasSucceeded) {
    if (hasSucceeded) {
        std::abort();
    }
}

/// Tries to affect the host: by its limits, by signals when data arrives on the connection, by
/// outliving it, and by control data beside a report.
void reachHost() {
    const rlimit none{0, 0};
    forbid(prlimit(getppid(), RLIMIT_CORE, &none, nullptr) == 0);
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(0, &processors);
    forbid(sched_setaffinity(getppid(), sizeof processors, &processors) == 0);
    forbid(fcntl(kConnection, F_SETOWN, getppid()) == 0);
    forbid(fcntl(kConnection, F_SETSIG, SIGKILL) == 0);
    int on = 1;
    forbid(ioctl(kConnection, FIOASYNC, &on) == 0);
    forbid(prctl(PR_SET_PDEATHSIG, 0) == 0);
    forbid(timer_create(CLOCK_MONOTONIC, nullptr, std::array<timer_t, 1>().data()) == 0);
    msghdr message{};
    forbid(sendmsg(kConnection, &message, 0) >= 0 || errno != EPERM);
    forbid(shmctl(0, IPC_RMID, nullptr) == 0 || errno != EPERM);
}

void reachOut() {
    const std::string beside = bundleFolder + "/../written";
    for (const std::string &path : {bundleFolder + "/written", beside, std::string("/tmp/written"),
                                    std::string("/dev/shm/written")}) {
        forbid(open(path.c_str(), O_WRONLY | O_CREAT, 0600) >= 0);
    }
    const std::string description = bundleFolder + "/description.plist";
    forbid(open(description.c_str(), O_RDWR) >= 0);
    forbid(unlink(description.c_str()) == 0);
    forbid(rename(description.c_str(), beside.c_str()) == 0);
    forbid(truncate(description.c_str(), 0) == 0);
    forbid(chmod(description.c_str(), 0777) == 0);
    forbid(mkdir(beside.c_str(), 0700) == 0);
    forbid(symlink("/", beside.c_str()) == 0);
    forbid(open((bundleFolder + "/../secret").c_str(), O_RDONLY) >= 0);
    forbid(open(description.c_str(), O_RDONLY | O_TRUNC) >= 0);
    forbid(open(beside.c_str(), O_RDONLY | O_CREAT, 0600) >= 0);
    forbid(syscall(kChangeMode, AT_FDCWD, description.c_str(), 0777, 0) == 0);
    forbid(socket(AF_INET, SOCK_STREAM, 0) >= 0);
    forbid(socket(AF_UNIX, SOCK_STREAM, 0) >= 0);
    forbid(fork() >= 0);
    forbid(kill(getppid(), 0) == 0);
    reachHost();
    forbid(system("true") == 0);
    char *const arguments[] = {const_cast<char *>("true"), nullptr};
    execv("/bin/true", arguments);
}

/// Sends the host a message of that kind: 0 a picture, 1 petals, 2 an answer, 3 how the process is
/// confined, 5 that another process goes on.
void report(std::uint32_t kind) {
    const std::array<std::uint32_t, 8> words{kind};
    send(kConnection, words.data(), sizeof words, MSG_NOSIGNAL);
}

void flood() {
    for (int i = 0; i < 4; ++i) {
        std::thread([] {
            for (;;) {
                report(1);
                report(2);
            }
        }).detach();
    }
}

void intrude() { report(0); }

void complain() { report(3); }

void move() { report(5); }

/// Tells of frames that nobody has asked for.
void trace() { report(8); }

/// Plays a sound of the bundle, one outside of it, and more than anybody can hear.
void sing() {
    for (const char *name : {"/splash.wav", "/../outside.wav"}) {
        SystemSoundID sound = 0;
        AudioServicesCreateSystemSoundID(NSURL::fileURLWithPath(bundleFolder + name).get(), &sound);
        for (int i = 0; i < 1000; ++i) {
            AudioServicesPlaySystemSound(sound);
        }
    }
}

void beBusy() { std::thread(loop).detach(); }

void multiply() {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{64} << 10);
    for (int i = 0; i < 1000; ++i) {
        pthread_t thread;
        pthread_create(
            &thread, &attributes,
            [](void *) -> void * {
                for (;;) {
                    pause();
                }
            },
            nullptr);
    }
}

/// Maps single pages far apart, each of which takes the kernel two more pages for tables.
void scatter(std::uintptr_t count) {
    constexpr std::uintptr_t kDistance = std::uintptr_t{1} << 30;
    for (std::uintptr_t i = 0; i < count; ++i) {
        void *const wanted = reinterpret_cast<void *>((i + 1'000) * kDistance);
        void *const page =
            mmap(wanted, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page != MAP_FAILED) {
            *static_cast<volatile char *>(page) = 1;
        }
    }
}

/// More than there are processors, and than a user has programs.
void crowd() {
    constexpr int kThreads = 60;
    for (int i = 0; i < kThreads; ++i) {
        std::thread(loop).detach();
    }
}

/// Keeps the memory busy rather than the processors.
void copy() {
    for (int i = 0; i < 4; ++i) {
        std::thread([] {
            std::vector<char> from(std::size_t{32} << 20), to(from.size());
            for (;;) {
                std::memcpy(to.data(), from.data(), from.size());
                std::memcpy(from.data(), to.data(), from.size());
            }
        }).detach();
    }
}

void copyAndWait() {
    copy();
    pause();
}

/// Tries to start processes all the time, each of which the host is told of.
void breed() {
    for (int i = 0; i < 8; ++i) {
        std::thread([] {
            for (;;) {
                fork();
            }
        }).detach();
    }
}

/// Takes as much memory of the kernel as it can: threads, pipes with something in them, single
/// mappings, and tables for mappings that lie far apart.
void hoard() {
    constexpr std::size_t kMappings = 60'000;
    constexpr std::uintptr_t kScattered = 500;
    multiply();
    int ends[2];
    while (pipe2(ends, O_NONBLOCK) == 0) {
        const std::array<char, 4096> page{};
        while (write(ends[1], page.data(), page.size()) > 0) {
        }
    }
    for (std::size_t i = 0; i < kMappings; ++i) {
        mmap(nullptr, 4096, i % 2 ? PROT_READ : PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    }
    scatter(kScattered);
}

std::string bundleName() { return bundleFolder.substr(bundleFolder.rfind('/') + 1); }

void misbehave(const std::string &moment) {
    static const std::map<std::string, void (*)()> deeds = {{"crash", crash},
                                                            {"loop", loop},
                                                            {"allocate", allocate},
                                                            {"exit", leave},
                                                            {"exit-at-once", leaveAtOnce},
                                                            {"overflow", overflow},
                                                            {"abort", giveUp},
                                                            {"print", print},
                                                            {"reach-out", reachOut},
                                                            {"throw", raiseException},
                                                            {"throw-number", raiseNumber},
                                                            {"throw-aside", raiseInThread},
                                                            {"dawdle", dawdle},
                                                            {"wait", waitForEver},
                                                            {"flood", flood},
                                                            {"intrude", intrude},
                                                            {"be-busy", beBusy},
                                                            {"multiply", multiply},
                                                            {"complain", complain},
                                                            {"move", move},
                                                            {"scatter", [] { scatter(10'000); }},
                                                            {"trace", trace},
                                                            {"sing", sing},
                                                            {"crowd", crowd},
                                                            {"copy", copy},
                                                            {"copy-and-wait", copyAndWait},
                                                            {"breed", breed},
                                                            {"hoard", hoard}};
    const std::string name = bundleName();
    for (const auto &[deed, action] : deeds) {
        if (name == deed + "-in-" + moment + ".bundle") {
            action();
        }
    }
}

/// Otherwise behaves well, and changes its colour in every frame.
class HostileView final : public DeskTopView {
  public:
    explicit HostileView(const CGRect &frame) : DeskTopView(frame) { misbehave("construction"); }

    void initResource() override {
        misbehave("init");
        startAnimating();
    }

    void doAnimating() override {
        if (++_frame == 1) {
            misbehave("first");
        } else if (_frame == kFrame) {
            misbehave("frame");
        }
        takeMore();
        const auto color = UIColor::colorWithRed_green_blue_alpha(1, _frame % 50 / 50.0, 0, 1);
        setBackgroundColor(color.get());
    }

    void pauseAnimating() override {
        misbehave("pause");
        if (bundleName() != "ignore-in-pause.bundle") {
            DeskTopView::pauseAnimating();
        }
    }

    void resumeAnimating() override {
        misbehave("resume");
        if (bundleName() != "ignore-in-resume.bundle") {
            DeskTopView::resumeAnimating();
        }
    }

    void tapActionAtViewPoint(CGPoint) override { misbehave("tap"); }
    void gestureAction_atPoint(std::int32_t, CGPoint) override { misbehave("gesture"); }

    void setScale(CGFloat scale) override {
        if (scale != 1) {
            misbehave("scale");
        }
        DeskTopView::setScale(scale);
    }

    void setSpeedLevel(NSInteger level) override {
        misbehave("speed");
        DeskTopView::setSpeedLevel(level);
    }

    void setFrame(const CGRect &frame) override {
        if (_frame > 0) {
            misbehave("resize");
        }
        DeskTopView::setFrame(frame);
    }

    void removeFromSuperview() override {
        misbehave("end");
        DeskTopView::removeFromSuperview();
    }

  private:
    ~HostileView() override { misbehave("deallocation"); }

    /// Leaks, or does something else each time.
    void takeMore() {
        constexpr std::size_t kPiece = 100;
        static std::vector<std::unique_ptr<char[]>> pieces;
        if (bundleName() == "leak-in-frames.bundle") {
            pieces.push_back(std::make_unique<char[]>(kPiece));
        }
        if (bundleName() == "vary-in-frames.bundle") {
            timespec now{};
            clock_gettime(CLOCK_REALTIME, &now);
            _frame = static_cast<int>(now.tv_nsec % 1000 + kFrame);
        }
    }

    int _frame = 0;
};

/// As a library that was built with other headers sees a view.
struct OtherView {
    virtual int answer() { return 42; }
    long numbers[100] = {};
};

/// What the bundle's name asks for instead of a view.
std::optional<void *> otherResult() {
    static OtherView other;
    const std::string name = bundleName();
    if (name == "nothing-in-return.bundle") {
        return nullptr;
    }
    if (name == "number-in-return.bundle") {
        return reinterpret_cast<void *>(std::uintptr_t{42});
    }
    if (name == "other-view-in-return.bundle") {
        return &other;
    }
    if (name == "plain-view-in-return.bundle") {
        return autorelease<UIView>(UIView::initWithFrame(CGRectMake(0, 0, 10, 10)));
    }
    if (name == "dangling-in-return.bundle") {
        void *const gone = std::malloc(sizeof(HostileView));
        std::memset(gone, 0x5a, sizeof(HostileView));
        return gone;
    }
    return std::nullopt;
}

} // namespace

extern "C" WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *bundle) {
    if (!bundle) {
        return nullptr;
    }
    bundleFolder = bundle->resourcePath();
    misbehave("entry");
    if (const auto other = otherResult()) {
        return static_cast<DeskTopView *>(*other);
    }
    auto view = makeRetained<HostileView>(CGRectMake(0, 0, 10, 10));
    if (bundleName() == "keep-in-return.bundle") {
        view->retain();
    }
    return autorelease<DeskTopView>(view);
}

extern "C" WALLPAPER_EXPORT const char *getDeskTopViewName() { return ""; }

extern "C" WALLPAPER_EXPORT const char *getDeskTopViewVersion() { return ""; }
