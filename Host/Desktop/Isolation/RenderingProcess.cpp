#include "Host/Desktop/Isolation/RenderingProcess.h"

#include "Platform/Foundation/NSRunLoop.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kBetweenChecks = 1;

/// Twice what the tables of the largest rendering take.
constexpr std::uint64_t kMaxTableKilobytes = 24 * 1024;

/// Less processor time than this between two checks, in seconds, is none: it is what waking up in
/// vain takes.
constexpr double kNothing = 0.005;

/// With two buffers the process draws a picture while the one before is written.
unsigned buffersFor(const RenderingProcess::Start &start) {
    return start.firstPicture + 1 < start.frameCount ? 2 : 1;
}

std::vector<std::string> optionsFor(const RenderingProcess::Start &start) {
    std::vector<std::string> options{"--render"};
    if (start.trial != BundleTrial::None) {
        options.push_back("--trial=" + std::string(nameOf(start.trial)));
    }
    return options;
}

/// The waiter of the main run loop until the scope ends.
struct WaiterInUse {
    explicit WaiterInUse(RunLoopWaiter &waiter) { NSRunLoop::mainRunLoop().setWaiter(&waiter); }
    ~WaiterInUse() { NSRunLoop::mainRunLoop().setWaiter(nullptr); }
    WaiterInUse(const WaiterInUse &) = delete;
    WaiterInUse &operator=(const WaiterInUse &) = delete;
};

} // namespace

/// What the bundle's own description asks for does not count: that is the stranger's word.
NSTimeInterval RenderingProcess::patienceFor(const Start &start) {
    NSUInteger petals = start.settings.petals.value_or(0);
    for (const ScriptEvent &event : start.script.events()) {
        if (event.kind == ScriptEvent::Kind::SakuraCount) {
            petals = std::max(petals, static_cast<NSUInteger>(event.numbers[0]));
        }
    }
    return (start.isTrial ? kTrialPatience : kPatience) * patienceWith(petals);
}

RenderingProcess::RenderingProcess(const Start &start)
    : _bundle(start.bundle), _scriptName(start.script.fileName()),
      _firstPicture(start.firstPicture), _isTraced(start.isTraced), _frameCount(start.frameCount),
      _patience(patienceFor(start)), _idlePatience(start.isTrial ? kIdleTrialPatience : kPatience),
      _timeFactor(start.timeFactor),
      _memory(static_cast<unsigned>(start.settings.pixelWidth()),
              static_cast<unsigned>(start.settings.pixelHeight()), buffersFor(start)),
      _process(_waiter, start.bundle, start, optionsFor(start)), _check([this] { check(); }) {
    sendOrders(start);
    _waiter.add(*this);
}

RenderingProcess::~RenderingProcess() { _waiter.remove(*this); }

/// The process reads them before it runs anything of the bundle. One that has ended meanwhile is
/// noticed by nextFrame().
void RenderingProcess::sendOrders(const Start &start) {
    const PacketSocket &connection = _process.connection();
    ViewOrder begin;
    begin.kind = ViewOrder::Kind::Begin;
    begin.width = _memory.width();
    begin.height = _memory.height();
    begin.count = _memory.count();
    begin.density = start.settings.density;
    begin.values = bytesOf(start.settings);
    connection.send(&begin, sizeof begin, PacketSocket::Wait::Yes, _memory.descriptor());
    const std::vector<ScriptEvent> &events = start.script.events();
    RenderingOrder order;
    order.width = start.settings.size.width;
    order.height = start.settings.size.height;
    order.eventCount = events.size();
    order.frameCount = start.frameCount;
    order.firstPicture = start.firstPicture;
    order.isTraced = start.isTraced;
    order.isTrial = start.isTrial;
    order.isSeeded = start.seed.has_value();
    order.seed = start.seed.value_or(0);
    _scriptName.copy(order.scriptName, sizeof order.scriptName - 1);
    connection.send(&order, sizeof order, PacketSocket::Wait::Yes);
    for (std::size_t at = 0; at < events.size(); at += RenderingOrder::kEventsPerPacket) {
        const std::size_t count = std::min(RenderingOrder::kEventsPerPacket, events.size() - at);
        connection.send(events.data() + at, count * sizeof(ScriptEvent), PacketSocket::Wait::Yes);
    }
}

const RenderingProcess::Frame *RenderingProcess::nextFrame() {
    returnBuffer();
    _frame = {};
    _isFrameComplete = false;
    if (readReports()) {
        _secondsBefore = _lastSeconds = _process.cpuTime();
        _idleChecks = 0;
        _check.callAfter(kBetweenChecks);
        const WaiterInUse waiter(_waiter);
        NSRunLoop::mainRunLoop().runUntil(Clock::kNever);
        _check.cancel();
    }
    if (_failure) {
        throw failureOf(_bundle, *_failure, _scriptName);
    }
    return _isFrameComplete ? &_frame : nullptr;
}

void RenderingProcess::returnBuffer() {
    if (_buffer) {
        ViewOrder draw;
        draw.kind = ViewOrder::Kind::Draw;
        draw.index = *std::exchange(_buffer, std::nullopt);
        _process.connection().send(&draw, sizeof draw, PacketSocket::Wait::No);
    }
}

void RenderingProcess::serve() {
    if (!readReports()) {
        NSRunLoop::mainRunLoop().stop();
    }
}

/// Reads until the frame is complete or the process has failed; true when more must be waited for.
bool RenderingProcess::readReports() {
    while (!_isFrameComplete && !_failure) {
        ViewReport report;
        PacketSocket::Packet packet;
        switch (
            _process.connection().receive(&report, sizeof report, PacketSocket::Wait::No, packet)) {
        case PacketSocket::Outcome::Nothing:
            return true;
        case PacketSocket::Outcome::Ended:
            fail(_process.end());
            break;
        case PacketSocket::Outcome::Received:
            if (!take(report, packet.count, packet.attached)) {
                fail("says what makes no sense");
            }
            close(packet.attached);
            break;
        }
    }
    return false;
}

/// Keeps the attached descriptor by changing it to -1. False for a report that makes no sense.
bool RenderingProcess::take(const ViewReport &report, std::size_t bytes, int &attached) {
    if (bytes < offsetof(ViewReport, rects)) {
        return false;
    }
    switch (report.kind) {
    case ViewReport::Kind::Moved:
        return _process.takeMove(report);
    case ViewReport::Kind::Confined:
        return _process.takeConfinement(report, std::exchange(attached, -1));
    case ViewReport::Kind::Picture:
        return takePicture(report);
    case ViewReport::Kind::Trace:
        return _isTraced && _parts.take(report, bytes);
    case ViewReport::Kind::Frame:
        return takeFrame(report);
    case ViewReport::Kind::Failure:
        fail(textOf(report, bytes));
        return true;
    case ViewReport::Kind::Log:
        return _process.takeLog(report, bytes);
    default:
        return false;
    }
}

bool RenderingProcess::takePicture(const ViewReport &report) {
    if (report.index >= _memory.count() || _buffer || _frameNumber < _firstPicture) {
        return false;
    }
    _buffer = report.index;
    _frame.pixels = {_memory.pixels(report.index), std::size_t{_memory.width()} * _memory.height()};
    return true;
}

/// A frame has all that was wanted of it.
bool RenderingProcess::takeFrame(const ViewReport &report) {
    _frame.trace = _parts.takeLine();
    _frame.seconds = report.index / 1e6;
    _frame.bytes = report.petals;
    _isFrameComplete = _frame.trace.empty() != _isTraced &&
                       _frame.pixels.empty() == (_frameNumber < _firstPicture);
    if (++_frameNumber == _frameCount) {
        _process.takePrinted();
    }
    return _isFrameComplete;
}

/// Only while a frame is waited for, so that the process has the buffers that it needs.
void RenderingProcess::check() {
    _process.takePrinted();
    const double seconds = _process.cpuTime();
    _idleChecks = seconds - _lastSeconds < kNothing ? _idleChecks + 1 : 0;
    _lastSeconds = seconds;
    std::string complaint = _process.complaintAboutKernel(kMaxTableKilobytes);
    if ((seconds - _secondsBefore) * _timeFactor >= _patience) {
        complaint = _process.complaintAboutSilence(_patience, ConfinedProcess::TimeOf::Processor);
    } else if (_idleChecks * kBetweenChecks * _timeFactor >= _idlePatience) {
        complaint = _process.complaintAboutSilence(_idlePatience);
    }
    if (!complaint.empty()) {
        _process.end();
        fail(complaint);
        NSRunLoop::mainRunLoop().stop();
        return;
    }
    _check.callAfter(kBetweenChecks);
}

void RenderingProcess::fail(const std::string &reason) { _failure = inOneLine(reason); }

} // namespace Lumivera
