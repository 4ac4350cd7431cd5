#include "Host/Displays/Shared/SharedDesktop.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace Lumivera {

namespace {

/// A desktop that was restarted shows its outputs again by then.
constexpr Clock::Nanoseconds kUntilOwnReturns = 10'000'000'000;

using Surfaces = std::vector<std::unique_ptr<SharedSurface>>;

/// Null when the surface is not among them.
std::unique_ptr<SharedSurface> takeFrom(Surfaces &surfaces, const SharedSurface &surface) {
    const auto found =
        std::find_if(surfaces.begin(), surfaces.end(),
                     [&surface](const auto &entry) { return entry.get() == &surface; });
    if (found == surfaces.end()) {
        return nullptr;
    }
    auto taken = std::move(*found);
    surfaces.erase(found);
    return taken;
}

} // namespace

SharedDesktop::SharedDesktop(DescriptorWatch &watch, std::unique_ptr<Desktop> own)
    : _watch(watch), _own(std::move(own)), _showOwnAgain([this] { showOwnAgain(); }) {}

SharedDesktop::~SharedDesktop() { _own->setListener(nullptr); }

void SharedDesktop::welcome(int descriptor) {
    SharedSurface::Owner &owner = *this;
    auto surface = std::make_unique<SharedSurface>(_watch, PacketSocket(descriptor), owner);
    if (_viewers.size() + _strangers.size() >= kMaxViewers) {
        surface->refuse("too many programs show wallpapers");
    }
    _strangers.push_back(std::move(surface));
}

void SharedDesktop::setListener(Desktop::Listener *listener) {
    _listener = listener;
    _ownOutputs.clear();
    _own->setListener(listener ? static_cast<Desktop::Listener *>(this) : nullptr);
    for (const auto &viewer : _viewers) {
        if (_listener) {
            _listener->outputAdded(*viewer);
        }
    }
}

void SharedDesktop::outputAdded(DesktopSurface &surface) {
    const bool isShown = viewerOf(surface.outputName()) == nullptr;
    _ownOutputs.push_back({&surface, isShown});
    if (isShown) {
        _listener->outputAdded(surface);
    }
}

void SharedDesktop::outputRemoved(DesktopSurface &surface) {
    const auto found =
        std::find_if(_ownOutputs.begin(), _ownOutputs.end(),
                     [&surface](const OwnOutput &output) { return output.surface == &surface; });
    if (found == _ownOutputs.end()) {
        return;
    }
    const bool wasShown = found->isShown;
    _ownOutputs.erase(found);
    if (wasShown) {
        _listener->outputRemoved(surface);
    }
}

void SharedDesktop::desktopLost(const std::string &reason) { _listener->desktopLost(reason); }

/// The first viewer keeps the output: two that took it from each other would do so without end.
void SharedDesktop::viewerArrived(SharedSurface &surface) {
    if (viewerOf(surface.outputName())) {
        surface.refuse("another program shows this output");
        return;
    }
    _viewers.push_back(takeFrom(_strangers, surface));
    hideOwn(surface.outputName());
    if (_listener) {
        _listener->outputAdded(surface);
    }
}

void SharedDesktop::viewerLeft(SharedSurface &surface) {
    const auto viewer = takeFrom(_viewers, surface);
    if (!viewer) {
        takeFrom(_strangers, surface);
        return;
    }
    if (_listener) {
        _listener->outputRemoved(surface);
    }
    for (OwnOutput &own : _ownOutputs) {
        if (own.surface->outputName() == viewer->outputName()) {
            own.returnTime = Clock::current().now() + kUntilOwnReturns;
        }
    }
    showOwnLater();
}

void SharedDesktop::settingsForgotten() {
    for (const auto &viewer : _viewers) {
        viewer->tellForgotten();
    }
}

const SharedSurface *SharedDesktop::viewerOf(const std::string &output) const {
    const auto found =
        std::find_if(_viewers.begin(), _viewers.end(),
                     [&output](const auto &viewer) { return viewer->outputName() == output; });
    return found == _viewers.end() ? nullptr : found->get();
}

void SharedDesktop::hideOwn(const std::string &output) {
    for (OwnOutput &own : _ownOutputs) {
        if (own.surface->outputName() == output && std::exchange(own.isShown, false)) {
            _listener->outputRemoved(*own.surface);
            own.surface->withdraw();
        }
    }
}

void SharedDesktop::showOwnAgain() {
    const Clock::Nanoseconds now = Clock::current().now();
    for (OwnOutput &own : _ownOutputs) {
        if (_listener && !own.isShown && own.returnTime <= now &&
            !viewerOf(own.surface->outputName())) {
            own.isShown = true;
            _listener->outputAdded(*own.surface);
        }
    }
    showOwnLater();
}

/// Calls when the next output comes back.
void SharedDesktop::showOwnLater() {
    std::optional<Clock::Nanoseconds> next;
    for (const OwnOutput &own : _ownOutputs) {
        if (_listener && !own.isShown && !viewerOf(own.surface->outputName())) {
            next = std::min(next.value_or(own.returnTime), own.returnTime);
        }
    }
    if (next) {
        _showOwnAgain.callAfter(
            static_cast<double>(std::max<Clock::Nanoseconds>(0, *next - Clock::current().now())) /
            1e9);
    }
}

} // namespace Lumivera
