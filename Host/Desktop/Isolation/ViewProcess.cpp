#include "Host/Desktop/Isolation/ViewProcess.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kBetweenChecks = 1;
constexpr NSTimeInterval kBetweenLooks = 0.1;
constexpr NSTimeInterval kBetweenTries = 0.01;

/// What the tables of the largest screens' views take, and half of it more.
constexpr std::uint64_t kMaxTableKilobytes = 6 * 1024;

/// Each thread that gives way weighs 3, and one of another program 1024, so that these leave nine
/// tenths of a processor to it. More are an attack when several checks find them.
constexpr unsigned kMaxBusyThreads = 32;
constexpr unsigned kMaxCrowdedChecks = 3;

/// Drawing takes one thread, or two for a moment. More take more than their share.
constexpr unsigned kUsualBusyThreads = 2;
constexpr unsigned kMaxUnusualChecks = 2;

constexpr Clock::Nanoseconds kSilence = 2'000'000'000;

/// More orders than a person gives while a view that is not given up says nothing.
constexpr std::size_t kMaxUnsent = 10'000;

/// The most reports that are read at a time, so that no view keeps us from all other work.
constexpr int kMaxReports = 1000;

/// How many times as much time as usual the view may take.
double leniencyWith(const ViewProcess::Start &start) {
    return start.isInWindow ? patienceWith(start.values.petals.value_or(0)) : 1;
}

} // namespace

bool Allowance::take(Clock::Nanoseconds now) {
    _left = std::min(_left + static_cast<double>(now - _lastTime) / 1e9 * _aSecond, _aSecond);
    _lastTime = now;
    const bool isLeft = _left >= 1;
    _left -= isLeft ? 1 : 0;
    return isLeft;
}

NSTimeInterval ViewProcess::patienceFor(const Start &start) {
    return start.hasWatchdog
               ? (start.isInWindow ? kPatienceInWindow : kPatience) * leniencyWith(start)
               : kEndlessPatience;
}

ViewProcess::ViewProcess(DescriptorWatch &watch, const Start &start, Listener &listener)
    : _watch(watch), _listener(listener), _memory(start.memory), _says(start.says),
      _isInWindow(start.isInWindow), _isTraced(start.isTraced), _hasWatchdog(start.hasWatchdog),
      _patience(static_cast<Clock::Nanoseconds>(patienceFor(start) * 1e9)),
      _timeFactor(start.timeFactor / leniencyWith(start)), _check([this] { check(); }),
      _look([this] { look(); }), _sendLater([this] { sendUnsent(); }),
      _process(watch, start.bundle, start), _lastSign(Clock::current().now()),
      _pictureDeadline(_lastSign + _patience), _isWanted(_memory->count()) {
    ViewOrder first;
    first.kind = ViewOrder::Kind::Begin;
    first.width = _memory->width();
    first.height = _memory->height();
    first.count = _memory->count();
    first.isInWindow = start.isInWindow;
    first.isTraced = start.isTraced;
    first.seed = start.seed;
    first.density = start.density;
    first.part = start.part;
    first.values = bytesOf(start.values);
    order(first, _memory->descriptor());
    _watch.add(*this);
    checkLater();
    _look.callAfter(kBetweenLooks);
}

ViewProcess::~ViewProcess() { _watch.remove(*this); }

void ViewProcess::allowDrawing(unsigned index) {
    ViewOrder draw;
    draw.kind = ViewOrder::Kind::Draw;
    draw.index = index;
    order(draw);
}

/// A view that is told to rest must answer: one that hangs would use processor time unseen.
void ViewProcess::setRunning(bool isRunning) {
    if (isRunning == _isRunning) {
        return;
    }
    _isRunning = isRunning;
    _lastSign = Clock::current().now();
    ViewOrder run;
    run.kind = isRunning ? ViewOrder::Kind::Run : ViewOrder::Kind::Rest;
    order(run);
    if (!isRunning) {
        expectAnswerBy(_lastSign + _patience);
    }
    checkLater();
}

void ViewProcess::set(const WallpaperValues &change) {
    ViewOrder set;
    set.kind = ViewOrder::Kind::Set;
    set.values = bytesOf(change);
    order(set);
}

void ViewProcess::tap(CGPoint point) {
    ViewOrder tap;
    tap.kind = ViewOrder::Kind::Tap;
    tap.x = point.x;
    tap.y = point.y;
    order(tap);
}

void ViewProcess::scrollBy(CGFloat distance) {
    ViewOrder scroll;
    scroll.kind = ViewOrder::Kind::Scroll;
    scroll.x = distance;
    order(scroll);
}

void ViewProcess::finishScrolling() {
    ViewOrder finish;
    finish.kind = ViewOrder::Kind::FinishScroll;
    order(finish);
}

/// Wakes a resting view to read the order. The answer to a ping then tells that its process can be
/// stopped again.
void ViewProcess::order(const ViewOrder &order, int attached) {
    send(order, attached);
    if (!_isRunning && order.kind != ViewOrder::Kind::Rest) {
        ping(Clock::current().now() + _patience);
        checkLater();
    }
    stopOrContinue();
}

void ViewProcess::ping(Clock::Nanoseconds deadline) {
    expectAnswerBy(deadline);
    send({}, -1);
}

/// A full socket means that the process is busy, or gone. The order with a descriptor is the first.
void ViewProcess::send(const ViewOrder &order, int attached) {
    expectReportTo(order);
    const bool isSent =
        _unsent.empty() &&
        _process.connection().send(&order, sizeof order, PacketSocket::Wait::No, attached);
    if (!isSent && attached >= 0) {
        throw HostError("view", "cannot get its memory: " + systemErrorText());
    }
    if (!isSent) {
        _unsent.push_back(order);
        sendLater();
        checkLater();
    }
}

void ViewProcess::sendUnsent() {
    while (!_unsent.empty() && _process.connection().send(&_unsent.front(), sizeof(ViewOrder),
                                                          PacketSocket::Wait::No)) {
        _unsent.pop_front();
    }
    sendLater();
}

void ViewProcess::sendLater() {
    if (!_unsent.empty() && !_sendLater.isPending()) {
        _sendLater.callAfter(kBetweenTries);
    }
}

void ViewProcess::expectReportTo(const ViewOrder &order) {
    switch (order.kind) {
    case ViewOrder::Kind::Draw:
        _isWanted.at(order.index) = true;
        break;
    case ViewOrder::Kind::Rest:
    case ViewOrder::Kind::Ping:
        ++_answersDue;
        break;
    case ViewOrder::Kind::Set:
        _petalsDue += valuesFrom(order.values).petals ? 1 : 0;
        break;
    default:
        break;
    }
}

/// Stops the process of a resting view, with all threads that the wallpaper has started.
void ViewProcess::stopOrContinue() {
    const bool shallStop = !_isRunning && _answersDue == 0 && _pictureDeadline == Clock::kNever;
    if (shallStop != _isStopped && process() > 0) {
        _isStopped = shallStop;
        kill(process(), shallStop ? SIGSTOP : SIGCONT);
    }
    if (_isStopped) {
        _process.takePrinted();
        _look.cancel();
    } else if (!_look.isPending() && !_hasEnded) {
        _look.callAfter(kBetweenLooks);
    }
}

void ViewProcess::serve() { readReports(); }

/// False when the view has ended; the listener may have deleted this object then.
bool ViewProcess::readReports() {
    for (int i = 0; i < kMaxReports; ++i) {
        ViewReport report;
        PacketSocket::Packet packet;
        switch (
            _process.connection().receive(&report, sizeof report, PacketSocket::Wait::No, packet)) {
        case PacketSocket::Outcome::Nothing:
            stopOrContinue();
            return true;
        case PacketSocket::Outcome::Ended:
            endWith(_process.end(), false);
            return false;
        case PacketSocket::Outcome::Received: {
            const bool isTaken = take(report, packet.count, packet.attached);
            close(packet.attached);
            if (!isTaken) {
                return false;
            }
            break;
        }
        }
    }
    stopOrContinue();
    return true;
}

/// Keeps the attached descriptor by changing it to -1.
bool ViewProcess::take(const ViewReport &report, std::size_t bytes, int &attached) {
    if (bytes < offsetof(ViewReport, rects)) {
        return refuse();
    }
    // Any thread may log and be heard, so these are no signs of life of the view.
    if (report.kind == ViewReport::Kind::Log) {
        return _process.takeLog(report, bytes) || refuse();
    }
    if (report.kind == ViewReport::Kind::Sound) {
        return takeSound(report, bytes);
    }
    _lastSign = Clock::current().now();
    switch (report.kind) {
    case ViewReport::Kind::Picture:
        return takePicture(report, bytes);
    case ViewReport::Kind::Petals:
        if (_petalsDue == 0) {
            return refuse();
        }
        --_petalsDue;
        _petals = report.petals;
        return true;
    case ViewReport::Kind::Answer:
        return takeAnswer();
    case ViewReport::Kind::Confined:
        return _process.takeConfinement(report, std::exchange(attached, -1)) || refuse();
    case ViewReport::Kind::Moved:
        return _process.takeMove(report) || refuse();
    case ViewReport::Kind::Failure:
        endWith(textOf(report, bytes), _pictureDeadline != Clock::kNever);
        return false;
    case ViewReport::Kind::Trace:
        return (_isTraced && _parts.take(report, bytes)) || refuse();
    case ViewReport::Kind::Frame:
        return takeFrame();
    default:
        return refuse();
    }
}

bool ViewProcess::refuse() {
    endWith("says what makes no sense", false);
    return false;
}

bool ViewProcess::takeFrame() {
    const std::string entry = _parts.takeLine();
    if (entry.empty() || !_framesLeft.take(_lastSign)) {
        return refuse();
    }
    _listener.viewEndedFrame(*this, entry);
    return true;
}

bool ViewProcess::takeSound(const ViewReport &report, std::size_t bytes) {
    if (!_isInWindow) {
        return refuse();
    }
    if (_soundsLeft.take(Clock::current().now())) {
        _listener.viewSounded(*this, rawTextOf(report, bytes));
    }
    return true;
}

bool ViewProcess::takeAnswer() {
    if (_answersDue == 0) {
        return refuse();
    }
    --_answersDue;
    _answerDeadline = _answersDue == 0 ? Clock::kNever : _lastSign + _patience;
    return true;
}

void ViewProcess::say(const std::string &line) const {
    if (_says) {
        _says(line);
    }
}

bool ViewProcess::takePicture(const ViewReport &report, std::size_t bytes) {
    const std::size_t room = (bytes - offsetof(ViewReport, rects)) / sizeof(DeviceRect);
    if (report.index >= _memory->count() || !_isWanted[report.index] ||
        report.count > std::min<std::size_t>(room, report.kMaxRects)) {
        return refuse();
    }
    _isWanted[report.index] = false;
    const DeviceRect whole{0, 0, static_cast<int>(_memory->width()),
                           static_cast<int>(_memory->height())};
    _rects.clear();
    for (std::uint32_t i = 0; i < report.count; ++i) {
        const DeviceRect rect = report.rects[i].intersection(whole);
        if (!rect.isEmpty()) {
            _rects.push_back(rect);
        }
    }
    _pictureDeadline = Clock::kNever;
    // Loading is waited for, so it is not delayed.
    if (++_pictures == 1 && process() > 0) {
        makeModest(process());
    }
    _listener.viewDrew(*this, report.index, _rects);
    return true;
}

void ViewProcess::expectAnswerBy(Clock::Nanoseconds deadline) {
    _answerDeadline = std::min(_answerDeadline, deadline);
}

void ViewProcess::checkLater() {
    if (!_check.isPending() && !_hasEnded) {
        _check.callAfter(kBetweenChecks);
    }
}

/// Reads first: if the host itself was stopped for a while, reports that have arrived still count.
void ViewProcess::check() {
    if (!readReports()) {
        return;
    }
    const Clock::Nanoseconds now = Clock::current().now();
    const std::string complaint = complaintAt(now);
    if (!complaint.empty()) {
        endWith(complaint, false);
        return;
    }
    const bool isAnswerDue = _answerDeadline != Clock::kNever;
    if (_isRunning && !isAnswerDue && now - _lastSign >= kSilence) {
        ping(_lastSign + _patience);
    }
    if (!_isStopped || isAnswerDue || _pictureDeadline != Clock::kNever) {
        checkLater();
    }
}

/// The reason to end the process; empty when there is none.
std::string ViewProcess::complaintAt(Clock::Nanoseconds now) {
    if (now >= std::min(_pictureDeadline, _answerDeadline)) {
        return _process.complaintAboutSilence(static_cast<NSTimeInterval>(_patience) / 1e9);
    }
    if (_hasWatchdog && _unsent.size() > kMaxUnsent) {
        return "does not listen";
    }
    if (takesTooMuchTime(now)) {
        return "takes a processor core without drawing" + _process.place();
    }
    return keepsTooManyThreadsBusy() ? "keeps too many threads busy" : "";
}

/// Also lets a busy view give way. Time in which the process is stopped does not count.
bool ViewProcess::takesTooMuchTime(Clock::Nanoseconds now) {
    if (_isStopped) {
        _processorUse.rest();
        return false;
    }
    const ProcessorUse::Verdict verdict =
        _processorUse.judge(now, cpuTime() * _timeFactor, _pictures);
    if (verdict != ProcessorUse::Verdict::Fine) {
        giveWay();
    }
    return _hasWatchdog && verdict == ProcessorUse::Verdict::Excessive;
}

bool ViewProcess::keepsTooManyThreadsBusy() {
    const unsigned busy = _isStopped ? 0 : busyThreads(process());
    _unusualChecks = busy > kUsualBusyThreads ? _unusualChecks + 1 : 0;
    _crowdedChecks = busy > kMaxBusyThreads ? _crowdedChecks + 1 : 0;
    if (_crowdedChecks > 0 || (_unusualChecks >= kMaxUnusualChecks && _pictures > 0)) {
        giveWay();
    }
    return _crowdedChecks >= kMaxCrowdedChecks;
}

/// Looks for what would take much of the kernel's memory or of the processor until the next check.
void ViewProcess::look() {
    _process.takePrinted();
    const unsigned busy = _pictures == 0 ? busyThreads(process()) : 0;
    if (busy > kMaxBusyThreads) {
        giveWay();
    } else if (busy > kUsualBusyThreads) {
        makeModest(process());
    }
    const std::string complaint = _process.complaintAboutKernel(kMaxTableKilobytes);
    if (!complaint.empty()) {
        endWith(complaint, false);
    } else {
        _look.callAfter(kBetweenLooks);
    }
}

/// From now on the view runs only when no other program wants the processor. That is for good,
/// because users may not raise what they have lowered.
void ViewProcess::giveWay() {
    makeIdle(process());
    if (!std::exchange(_givesWay, true)) {
        say("takes much processor time, so it gives way to all other programs");
    }
}

/// The listener may delete this object.
void ViewProcess::endWith(const std::string &reason, bool isHopeless) {
    _process.end();
    _watch.remove(*this);
    _check.cancel();
    _look.cancel();
    _sendLater.cancel();
    _hasEnded = true;
    _listener.viewEnded(*this, reason, isHopeless);
}

} // namespace Lumivera
