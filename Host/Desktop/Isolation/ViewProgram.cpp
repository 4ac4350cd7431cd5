#include "Host/Desktop/Isolation/ViewProgram.h"

#include "Host/Desktop/Isolation/ConfinedProcess.h"
#include "Host/Desktop/Isolation/RenderingService.h"
#include "Host/Desktop/Isolation/Sandbox.h"
#include "Host/Desktop/Isolation/ViewService.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleCall.h"
#include "Host/Wallpapers/BundleFolder.h"
#include "Platform/AudioToolbox/AudioServices.h"
#include "Platform/Foundation/NSLog.h"

#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <malloc.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Lumivera {

namespace {

constexpr int kWrongUsage = 2;

/// The process that goes on is another one, of which the host must know.
void tellMove(const PacketSocket &host, pid_t process) {
    ViewReport report;
    report.kind = ViewReport::Kind::Moved;
    report.petals = static_cast<std::uint64_t>(process);
    host.send(&report, offsetof(ViewReport, rects), PacketSocket::Wait::Yes);
}

void enterSandbox(const PacketSocket &host, const std::string &bundle, std::uint64_t bytes,
                  unsigned walls) {
    // Each further arena of malloc would reserve address space that the limit counts.
    mallopt(M_ARENA_MAX, 1);
    Sandbox::Rules rules;
    rules.folder = bundle;
    rules.bytes = bytes;
    rules.threads = kMaxViewThreads;
    rules.movedTo = [&host](int process) { tellMove(host, process); };
    rules.tellsRefusals = true;
    rules.walls = walls;
    const Sandbox::Entry entry = Sandbox::enter(rules);
    ViewReport report;
    report.kind = ViewReport::Kind::Confined;
    report.index = entry.refused;
    host.send(&report, offsetof(ViewReport, rects), PacketSocket::Wait::Yes, entry.listener);
    if (entry.listener >= 0) {
        close(entry.listener);
        Sandbox::finish();
    }
}

void reportText(const PacketSocket &host, ViewReport::Kind kind, std::string_view text,
                PacketSocket::Wait wait) {
    ViewReport report;
    report.kind = kind;
    const std::size_t count = text.copy(report.text, sizeof report.text - 1);
    host.send(&report, offsetof(ViewReport, text) + count + 1, wait);
}

/// The arguments: SOCKET BUNDLE, and options that only the host gives.
struct Arguments {
    int socket = -1;
    std::string bundle;
    bool isTrusted = false;
    bool isRendering = false;
    BundleTrial trial = BundleTrial::None;
    unsigned walls = Sandbox::kAllWalls;

    /// False when they make no sense.
    bool read(const std::vector<std::string_view> &words) {
        const auto number = [](std::string_view text, auto &value) {
            const auto end = text.data() + text.size();
            return std::from_chars(text.data(), end, value).ptr == end && !text.empty();
        };
        constexpr std::string_view kWalls = "--walls=";
        constexpr std::string_view kTrial = "--trial=";
        bool isRight = words.size() >= 2 && number(words[0], socket);
        for (std::size_t i = 2; isRight && i < words.size(); ++i) {
            if (words[i] == "--trust") {
                isTrusted = true;
            } else if (words[i] == "--render") {
                isRendering = true;
            } else if (words[i].starts_with(kTrial)) {
                trial = trialOfName(words[i].substr(kTrial.size()));
            } else {
                isRight =
                    words[i].starts_with(kWalls) && number(words[i].substr(kWalls.size()), walls);
            }
        }
        bundle = isRight ? words[1] : "";
        return isRight;
    }
};

/// No sound device is within reach here. Sounds of the bundle are heard if the host plays them.
void sendSounds(const PacketSocket &host, const std::string &bundle, bool areHeard) {
    AudioServicesSetSink([&host, folder = bundle + "/", areHeard](const std::string &path) {
        if (areHeard && path.starts_with(folder)) {
            reportText(host, ViewReport::Kind::Sound, std::string_view(path).substr(folder.size()),
                       PacketSocket::Wait::No);
        }
    });
}

/// Lets the host see in which call of the bundle's code we are, if it has given memory for that.
void shareCall(int memory) {
    struct stat status;
    constexpr std::size_t kBytes = ConfinedProcess::kCallBytes;
    const int seals = fcntl(memory, F_GET_SEALS);
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0 || fstat(memory, &status) != 0 ||
        status.st_size != static_cast<off_t>(kBytes)) {
        return;
    }
    void *const shared = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0);
    if (shared != MAP_FAILED) {
        BundleCall::keepAt(*static_cast<std::atomic<std::uint32_t> *>(shared));
    }
}

/// The connection for the end by an exception that nobody catches.
const PacketSocket *hostOfLastWords = nullptr;

/// Tells the host what was thrown. Without an exception the C++ library has printed why it ends us.
[[noreturn]] void endByException() {
    const std::string words = wordsForCurrentException();
    if (words.empty()) {
        std::abort();
    }
    reportText(*hostOfLastWords, ViewReport::Kind::Failure, words, PacketSocket::Wait::Yes);
    std::_Exit(1);
}

/// A namespace's first process gets no signal that it does not handle, so that abort() would end it
/// as a crash does.
void endByAbort(int) { std::_Exit(kStatusOfAbort); }

void serve(const PacketSocket &host, const Arguments &given) {
    ViewService::Start start = ViewService::readStart(host);
    const SharedBuffers &memory = *start.memory;
    const std::uint64_t bytes = maxViewBytes(memory.width(), memory.height(), memory.bytes());
    // Namespaces hide whom files belong to, so the bundle is checked first.
    BundleFolder folder(given.bundle, given.isTrusted ? BundleFolder::Trust::Anybody
                                                      : BundleFolder::Trust::UserAndRoot);
    if (given.isRendering) {
        RenderingService rendering(host, std::move(start));
        enterSandbox(host, folder.path(), bytes + kMoreAttendedBytes, given.walls);
        if (given.trial == BundleTrial::None) {
            rendering.run(std::move(folder));
        } else {
            rendering.run(std::move(folder), given.trial);
        }
        return;
    }
    enterSandbox(host, folder.path(), bytes + (start.isInWindow ? kMoreAttendedBytes : 0),
                 given.walls);
    sendSounds(host, folder.path(), start.isInWindow);
    const WallpaperBundle bundle(std::move(folder));
    ViewService(host, std::move(start), bundle).run();
}

} // namespace

void sendReport(const PacketSocket &host, ViewReport::Kind kind, std::uint32_t index) {
    ViewReport report;
    report.kind = kind;
    report.index = index;
    host.send(&report, offsetof(ViewReport, rects), PacketSocket::Wait::Yes);
}

void endWithFailure(const PacketSocket &host, const std::exception &error) {
    const bool isOurs = dynamic_cast<const HostError *>(&error) != nullptr;
    reportText(host, ViewReport::Kind::Failure, isOurs ? error.what() : wordsFor(error),
               PacketSocket::Wait::Yes);
    std::_Exit(1);
}

int runViewProgram(int argumentCount, const char *const *arguments) {
    Arguments given;
    if (!given.read({arguments + 1, arguments + argumentCount})) {
        std::fputs("lumivera-view: is run by `lumivera`\n", stderr);
        return kWrongUsage;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // So that the host reads each line of a wallpaper when it is printed.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    shareCall(given.socket + 1);
    // The host may have inherited descriptors that are not meant for a wallpaper.
    close_range(static_cast<unsigned>(given.socket) + 1, ~0U, 0);
    const PacketSocket host(given.socket);
    // The system's log is out of reach here. A line that finds no room is lost.
    NSLogSetSink([&host, lines = 0U](std::string_view line) mutable {
        if (lines < kMaxLogLines) {
            ++lines;
            reportText(host, ViewReport::Kind::Log, line, PacketSocket::Wait::No);
        }
    });
    hostOfLastWords = &host;
    std::set_terminate(endByException);
    std::signal(SIGABRT, endByAbort);
    try {
        serve(host, given);
    } catch (const std::exception &error) {
        endWithFailure(host, error);
    }
    std::_Exit(0);
}

} // namespace Lumivera
