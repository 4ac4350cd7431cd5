#include "Host/Desktop/Isolation/ViewService.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Desktop/Isolation/Sandbox.h"
#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSThread.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <malloc.h>
#include <new>
#include <string_view>
#include <sys/prctl.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kBetweenChecks = 0.01;

/// Views load half a second after they were made.
constexpr Clock::Nanoseconds kUntilLoading = 600'000'000;

namespace fs = std::filesystem;

/// Three times what a view of the largest screens takes, in bytes.
constexpr std::uint64_t kAddressSpace = std::uint64_t{768} << 20;
constexpr std::uint64_t kAddressSpacePerPixel = 24;

constexpr int kWrongUsage = 2;

/// The paths of the libraries and of the bundle.
std::vector<std::string> readablePaths(const fs::path &bundle) {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    std::vector<std::string> paths = {"/usr",         "/lib",         "/lib64",
                                      "/etc",         "/proc/self",   "/sys/devices/system/cpu",
                                      "/dev/null",    "/dev/zero",    "/dev/random",
                                      "/dev/urandom", bundle.string()};
    paths.push_back(program.parent_path().parent_path().parent_path() / "lib");
    return paths;
}

void enterSandbox(const PacketSocket &host, const std::string &bundle,
                  const SharedBuffers &memory) {
    // Each further arena of malloc would reserve address space that the limit counts.
    mallopt(M_ARENA_MAX, 1);
    const std::uint64_t pixels = std::uint64_t{memory.width()} * memory.height();
    ViewReport report;
    report.kind = ViewReport::Kind::Confined;
    report.index = Sandbox::enter(
        {readablePaths(bundle), kAddressSpace + kAddressSpacePerPixel * pixels + memory.bytes()});
    host.send(&report, offsetof(ViewReport, rects), PacketSocket::Wait::Yes);
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

int runViewProgram(int argumentCount, const char *const *arguments) {
    int descriptor = -1;
    const bool isTrusted = argumentCount == 4 && std::string_view(arguments[3]) == "--trust";
    if ((argumentCount != 3 && !isTrusted) ||
        std::from_chars(arguments[1], arguments[1] + std::strlen(arguments[1]), descriptor).ec !=
            std::errc()) {
        std::fputs("lumivera-view: is run by `lumivera desktop`\n", stderr);
        return kWrongUsage;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The host may have inherited descriptors that are not meant for a wallpaper.
    close_range(static_cast<unsigned>(descriptor) + 1, ~0U, 0);
    const PacketSocket host(descriptor);
    try {
        ViewService::Start start = ViewService::readStart(host);
        BundleFolder folder(arguments[2], isTrusted ? BundleFolder::Trust::Anybody
                                                    : BundleFolder::Trust::UserAndRoot);
        enterSandbox(host, folder.path(), *start.memory);
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
