#include "Host/Desktop/Isolation/ViewService.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSThread.h"

#include <cstddef>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kBeginWhenLoaded = "lumiveraBeginWhenLoaded";
constexpr NSTimeInterval kBetweenChecks = 0.01;

/// Views load half a second after they were made.
constexpr Clock::Nanoseconds kUntilLoading = 600'000'000;

void set(WallpaperSettings &settings, const ViewOrder &order) {
    const double number = order.numbers[0];
    switch (order.key) {
    case ViewOrder::Key::Petals:
        settings.petalCount = static_cast<NSUInteger>(number);
        break;
    case ViewOrder::Key::Speed:
        settings.speedLevel = static_cast<NSInteger>(number);
        break;
    case ViewOrder::Key::Scale:
        settings.scale = number;
        break;
    case ViewOrder::Key::Offset:
        settings.offset = number;
        break;
    case ViewOrder::Key::ScaleLevel:
        settings.scaleLevel = static_cast<NSInteger>(number);
        break;
    case ViewOrder::Key::Tint:
        settings.tint = CGColor{number, order.numbers[1], order.numbers[2], order.numbers[3]};
        break;
    }
}

} // namespace

ViewService::Start ViewService::readStart(const PacketSocket &host) {
    Start start;
    for (;;) {
        ViewOrder order;
        PacketSocket::Packet packet;
        if (host.receive(&order, sizeof order, PacketSocket::Wait::Yes, packet) !=
                PacketSocket::Outcome::Received ||
            packet.count != sizeof order) {
            throw HostError("host", "has gone");
        }
        if (order.kind == ViewOrder::Kind::Set) {
            Lumivera::set(start.settings, order);
        } else if (order.kind == ViewOrder::Kind::Memory) {
            start.settings.density = order.numbers[0];
            start.settings.size = {order.width / order.numbers[0], order.height / order.numbers[0]};
            start.memory = std::make_unique<SharedBuffers>(packet.attached, order.width,
                                                           order.height, order.count);
            return start;
        }
    }
}

ViewService::ViewService(const PacketSocket &host, Start start, const WallpaperBundle &bundle)
    : _host(host), _display(host, std::move(start.memory), start.settings.density),
      _show(_display, bundle, {start.settings, {}, {}}), _startTime(Clock::current().now()) {
    _display.waiter().add(*this);
    beginWhenLoaded();
}

ViewService::~ViewService() {
    _display.waiter().remove(*this);
    NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(nullptr, kBeginWhenLoaded);
}

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
    switch (order.kind) {
    case ViewOrder::Kind::Memory:
        break;
    case ViewOrder::Kind::Draw:
        _display.allowDrawing(order.index);
        break;
    case ViewOrder::Kind::Run:
        _display.setResting(false);
        break;
    case ViewOrder::Kind::Rest:
        _display.setResting(true);
        answer();
        break;
    case ViewOrder::Kind::Set:
        set(order);
        break;
    case ViewOrder::Kind::Tap:
        _show.stage().tap({order.numbers[0], order.numbers[1]});
        break;
    case ViewOrder::Kind::Scroll:
        _show.stage().scrollBy(order.numbers[0]);
        break;
    case ViewOrder::Kind::FinishScroll:
        _show.stage().finishScrolling();
        break;
    case ViewOrder::Kind::Ping:
        answer();
        break;
    }
}

/// A tint shades a picture that is not there any more: that takes a new view.
void ViewService::set(const ViewOrder &order) {
    WallpaperStage &stage = _show.stage();
    const double number = order.numbers[0];
    switch (order.key) {
    case ViewOrder::Key::Petals:
        stage.setPetalCount(static_cast<NSUInteger>(number));
        reportPetals();
        break;
    case ViewOrder::Key::Speed:
        stage.setSpeedLevel(static_cast<NSInteger>(number));
        break;
    case ViewOrder::Key::Scale:
        stage.setScale(number);
        break;
    case ViewOrder::Key::Offset:
        stage.setOffset(number);
        break;
    case ViewOrder::Key::ScaleLevel:
        stage.setScaleLevel(static_cast<NSInteger>(number));
        break;
    case ViewOrder::Key::Tint:
        break;
    }
}

/// What a view shows before it has loaded is not worth seeing.
void ViewService::beginWhenLoaded() {
    if (hasLoaded()) {
        _display.begin();
        reportPetals();
        return;
    }
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        nullptr, kBeginWhenLoaded, [this] { beginWhenLoaded(); }, kBetweenChecks);
}

/// A wallpaper that moves says so by moving; a still one has loaded when its threads have ended.
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

} // namespace Lumivera
