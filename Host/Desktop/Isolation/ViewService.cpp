#include "Host/Desktop/Isolation/ViewService.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Desktop/Isolation/TraceParts.h"
#include "Host/Desktop/Isolation/ViewProgram.h"
#include "Host/Playing/TraceWriter.h"
#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSThread.h"

#include <cstddef>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kBetweenChecks = 0.01;

/// Views load half a second after they were made.
constexpr Clock::Nanoseconds kUntilLoading = 600'000'000;

WallpaperShow::Options optionsFor(const PacketSocket &host, const ViewService::Start &start) {
    WallpaperShow::Options options;
    options.settings = start.settings;
    options.part = start.part;
    if (start.isTraced) {
        options.frameEnded = [&host](NSTimeInterval time, const DeskTopView &view) {
            sendTrace(host, TraceWriter::entry(time, view));
            sendReport(host, ViewReport::Kind::Frame);
        };
    }
    return options;
}

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
    start.settings.seed = order.seed;
    start.part = order.part;
    start.isInWindow = order.isInWindow != 0;
    start.isTraced = order.isTraced != 0;
    start.settings.size = {order.width / order.density, order.height / order.density};
    start.memory =
        std::make_unique<SharedBuffers>(packet.attached, order.width, order.height, order.count);
    return start;
}

ViewService::ViewService(const PacketSocket &host, Start start, const WallpaperBundle &bundle)
    : _host(host), _window(host, std::move(start.memory), start.settings.density,
                           start.part == WallpaperPart::Petals),
      _show(_window, bundle, optionsFor(host, start)), _startTime(Clock::current().now()),
      _beginWhenLoaded([this] { beginWhenLoaded(); }), _answer([this] { answer(); }) {
    _window.waiter().add(*this);
    // So that the very first frame is drawn.
    _window.setBeginning([this] { beginIfLoaded(); });
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
        // Pictures of what has changed come first: after the answer the process may be stopped.
        ++_answersDue;
        _answer.callAfter(0);
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
    beginIfLoaded();
    if (!_window.hasBegun()) {
        _beginWhenLoaded.callAfter(kBetweenChecks);
    }
}

void ViewService::beginIfLoaded() {
    if (!_window.hasBegun() && hasLoaded()) {
        _window.begin();
        reportPetals();
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

void ViewService::answer() {
    for (; _answersDue > 0; --_answersDue) {
        sendReport(_host, ViewReport::Kind::Answer);
    }
}

} // namespace Lumivera
