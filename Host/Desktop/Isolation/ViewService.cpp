#include "Host/Desktop/Isolation/ViewService.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Desktop/Isolation/Sandbox.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleFolder.h"
#include "Platform/Foundation/NSThread.h"

#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>
#include <string_view>
#include <sys/prctl.h>
#include <unistd.h>
#include <vector>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kBetweenChecks = 0.01;

/// Views load half a second after they were made.
constexpr Clock::Nanoseconds kUntilLoading = 600'000'000;

constexpr int kWrongUsage = 2;

/// The process that goes on is another one, of which the host must know.
void tellMove(const PacketSocket &host, pid_t process) {
    ViewReport report;
    report.kind = ViewReport::Kind::Moved;
    report.petals = static_cast<std::uint64_t>(process);
    host.send(&report, offsetof(ViewReport, rects), PacketSocket::Wait::Yes);
}

void enterSandbox(const PacketSocket &host, const std::string &bundle, const SharedBuffers &memory,
                  unsigned walls) {
    // Each further arena of malloc would reserve address space that the limit counts.
    mallopt(M_ARENA_MAX, 1);
    Sandbox::Rules rules;
    rules.folder = bundle;
    rules.bytes = maxViewBytes(memory.width(), memory.height(), memory.bytes());
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

void reportFailure(const PacketSocket &host, const char *text) {
    ViewReport report;
    report.kind = ViewReport::Kind::Failure;
    std::snprintf(report.text, sizeof report.text, "%s", text);
    host.send(&report, sizeof report, PacketSocket::Wait::Yes);
}

/// Skips atexit handlers and static destructors: the wallpaper's own may hang.
[[noreturn]] void end(int status) { std::_Exit(status); }

} // namespace

ViewService::Start ViewService::readStart(const PacketSocket &host) {
    ViewOrder order;
    PacketSocket::Packet packet;
    if (host.receive(&order, sizeof order, PacketSocket::Wait::Yes, packet) !=
            PacketSocket::Outcome::Received ||
        packet.count != sizeof order || order.kind != ViewOrder::Kind::Begin) {
        throw HostError("host", "has gone");
    }
    Start start;
    static_cast<WallpaperValues &>(start.settings) = valuesFrom(order.values);
    start.settings.density = order.density;
    start.part = order.part;
    start.settings.size = {order.width / order.density, order.height / order.density};
    start.memory =
        std::make_unique<SharedBuffers>(packet.attached, order.width, order.height, order.count);
    return start;
}

ViewService::ViewService(const PacketSocket &host, Start start, const WallpaperBundle &bundle)
    : _host(host), _window(host, std::move(start.memory), start.settings.density,
                           start.part == WallpaperPart::Petals),
      _show(_window, bundle, {start.settings, {}, {}, start.part}),
      _startTime(Clock::current().now()), _beginWhenLoaded([this] { beginWhenLoaded(); }) {
    _window.waiter().add(*this);
    beginWhenLoaded();
}

ViewService::~ViewService() { _window.waiter().remove(*this); }

void ViewService::run() { _show.run(); }

void ViewService::serve() {
    for (;;) {
        ViewOrder order;
        PacketSocket::Packet packet;
        switch (_host.receive(&order, sizeof order, PacketSocket::Wait::No, packet)) {
        case PacketSocket::Outcome::Received:
            obey(order);
            break;
        case PacketSocket::Outcome::Nothing:
            return;
        case PacketSocket::Outcome::Ended:
            NSRunLoop::mainRunLoop().stop();
            return;
        }
    }
}

void ViewService::obey(const ViewOrder &order) {
    _window.obey(order);
    if (order.kind == ViewOrder::Kind::Set) {
        set(valuesFrom(order.values));
    } else if (order.kind == ViewOrder::Kind::Rest || order.kind == ViewOrder::Kind::Ping) {
        answer();
    }
}

void ViewService::set(const WallpaperValues &change) {
    _show.set(change);
    if (change.petals) {
        reportPetals();
    }
}

/// Keeps the window from drawing what a view shows before it has loaded.
void ViewService::beginWhenLoaded() {
    if (hasLoaded()) {
        _window.begin();
        reportPetals();
    } else {
        _beginWhenLoaded.callAfter(kBetweenChecks);
    }
}

/// A view has loaded when it animates or, if it stays still, when its threads have ended.
bool ViewService::hasLoaded() {
    const DeskTopView &view = _show.view();
    return view.isAnimating() ||
           (Clock::current().now() - _startTime > kUntilLoading &&
            NSThread::detachedThreadCount() == 0 && view.operationQueue().operationCount() == 0);
}

void ViewService::reportPetals() {
    if (const auto *petals = dynamic_cast<const LumiveraView *>(&_show.view())) {
        ViewReport report;
        report.kind = ViewReport::Kind::Petals;
        report.petals = petals->sakuraCount();
        _host.send(&report, offsetof(ViewReport, rects), PacketSocket::Wait::Yes);
    }
}

void ViewService::answer() const {
    const ViewReport report;
    _host.send(&report, offsetof(ViewReport, rects), PacketSocket::Wait::Yes);
}

namespace {

/// The arguments: SOCKET BUNDLE, and options that only the host gives.
struct Arguments {
    int socket = -1;
    std::string bundle;
    bool isTrusted = false;
    unsigned walls = Sandbox::kAllWalls;

    /// False when they make no sense.
    bool read(const std::vector<std::string_view> &words) {
        const auto number = [](std::string_view text, auto &value) {
            const auto end = text.data() + text.size();
            return std::from_chars(text.data(), end, value).ptr == end && !text.empty();
        };
        constexpr std::string_view kWalls = "--walls=";
        bool isRight = words.size() >= 2 && number(words[0], socket);
        for (std::size_t i = 2; isRight && i < words.size(); ++i) {
            isTrusted = isTrusted || words[i] == "--trust";
            isRight = words[i] == "--trust" || (words[i].starts_with(kWalls) &&
                                                number(words[i].substr(kWalls.size()), walls));
        }
        bundle = isRight ? words[1] : "";
        return isRight;
    }
};

} // namespace

int runViewProgram(int argumentCount, const char *const *arguments) {
    Arguments given;
    if (!given.read({arguments + 1, arguments + argumentCount})) {
        std::fputs("lumivera-view: is run by `lumivera desktop`\n", stderr);
        return kWrongUsage;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The host may have inherited descriptors that are not meant for a wallpaper.
    close_range(static_cast<unsigned>(given.socket) + 1, ~0U, 0);
    const PacketSocket host(given.socket);
    try {
        ViewService::Start start = ViewService::readStart(host);
        // Namespaces hide whom files belong to, so the bundle is checked first.
        BundleFolder folder(given.bundle, given.isTrusted ? BundleFolder::Trust::Anybody
                                                          : BundleFolder::Trust::UserAndRoot);
        enterSandbox(host, folder.path(), *start.memory, given.walls);
        const WallpaperBundle bundle(std::move(folder));
        ViewService(host, std::move(start), bundle).run();
    } catch (const std::bad_alloc &) {
        reportFailure(host, "takes more memory than a wallpaper may have");
        end(1);
    } catch (const std::exception &error) {
        reportFailure(host, error.what());
        end(1);
    }
    end(0);
}

} // namespace Lumivera
