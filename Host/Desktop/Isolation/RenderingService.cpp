#include "Host/Desktop/Isolation/RenderingService.h"

#include "Host/Desktop/Isolation/TraceParts.h"
#include "Host/Desktop/Isolation/ViewProgram.h"
#include "Host/Playing/TraceWriter.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <ctime>

namespace Lumivera {

namespace {

/// Receives a packet of that many bytes.
void receive(const PacketSocket &host, void *bytes, std::size_t count) {
    PacketSocket::Packet packet;
    if (host.receive(bytes, count, PacketSocket::Wait::Yes, packet) !=
            PacketSocket::Outcome::Received ||
        packet.count != count) {
        throw HostError("host", "has gone");
    }
}

/// The processor time of this process, in seconds.
double processorTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::vector<ScriptEvent> receiveEvents(const PacketSocket &host, std::size_t count) {
    std::vector<ScriptEvent> events(count);
    for (std::size_t at = 0; at < count; at += RenderingOrder::kEventsPerPacket) {
        const std::size_t part = std::min(RenderingOrder::kEventsPerPacket, count - at);
        receive(host, events.data() + at, part * sizeof(ScriptEvent));
    }
    return events;
}

} // namespace

RenderingService::RenderingService(const PacketSocket &host, ViewService::Start start)
    : _host(host), _memory(std::move(start.memory)), _isFree(_memory->count(), true) {
    receive(host, &_order, sizeof _order);
    _options.settings = start.settings;
    _options.settings.size = {static_cast<CGFloat>(_order.width),
                              static_cast<CGFloat>(_order.height)};
    _options.script = Script(receiveEvents(host, _order.eventCount), _order.scriptName);
    _options.isLenient = _order.isTrial != 0;
    if (_order.isSeeded) {
        _options.seed = _order.seed;
    }
}

void RenderingService::run(BundleFolder folder, BundleTrial trial) {
    tryOut(trial, std::move(folder), _options.settings);
    reportFrame(processorTime());
    std::_Exit(0);
}

void RenderingService::run(BundleFolder folder) {
    RenderingSession session(std::move(folder), std::move(_options));
    try {
        for (std::uint64_t frame = 0; frame < _order.frameCount; ++frame) {
            renderFrame(session, frame);
        }
    } catch (const std::exception &error) {
        endWithFailure(_host, error);
    }
    // The host has all that it wants, and the wallpaper's threads may never end.
    std::_Exit(0);
}

void RenderingService::renderFrame(RenderingSession &session, std::uint64_t frame) {
    const double start = frame > 0 && _order.isTrial ? processorTime() : 0;
    if (frame > 0) {
        session.nextFrame();
    }
    const double seconds = _order.isTrial ? processorTime() - start : 0;
    if (frame >= _order.firstPicture) {
        draw(session);
    }
    if (_order.isTraced) {
        sendTrace(_host, TraceWriter::entry(session.time(), session.view()));
    }
    reportFrame(seconds);
}

void RenderingService::reportFrame(double seconds) const {
    ViewReport report;
    report.kind = ViewReport::Kind::Frame;
    if (_order.isTrial) {
        constexpr double kMost = 4e9;
        report.index = static_cast<std::uint32_t>(std::min(seconds * 1e6, kMost));
        report.petals = memoryInUse();
    }
    _host.send(&report, offsetof(ViewReport, rects), PacketSocket::Wait::Yes);
}

/// The buffers take turns, so that each was drawn into as many pictures ago as there are buffers.
void RenderingService::draw(RenderingSession &session) {
    const unsigned count = _memory->count();
    const auto index = static_cast<std::uint32_t>(_pictureCount % count);
    while (!_isFree[index]) {
        waitForBuffer();
    }
    _isFree[index] = false;
    session.composite(_memory->pixels(index), _pictureCount < count ? 0 : count);
    ++_pictureCount;
    sendReport(_host, ViewReport::Kind::Picture, index);
}

void RenderingService::waitForBuffer() {
    ViewOrder order;
    receive(_host, &order, sizeof order);
    if (order.kind == ViewOrder::Kind::Draw && order.index < _isFree.size()) {
        _isFree[order.index] = true;
    }
}

} // namespace Lumivera
