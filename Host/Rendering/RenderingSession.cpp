#include "Host/Rendering/RenderingSession.h"

#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <cstdlib>
#include <exception>

namespace Lumivera {

namespace {

constexpr Clock::Nanoseconds kFramePeriod = 25'000'000;
constexpr NSTimeInterval kPatience = 10;

} // namespace

RenderingSession::RenderingSession(const std::string &bundlePath, Options options)
    : _options(std::move(options)),
      _simulatedTime({{0, 0}, _options.settings.size}, _options.settings.density),
      _bundle(bundlePath), _root(UIView::initWithFrame({{0, 0}, _options.settings.size})),
      _view(_bundle.makeView()), _picture(_options.settings) {
    _options.settings.applyTo(*_view);
    _root->addSubview(_view.get());
    showFirstFrame();
}

RenderingSession::~RenderingSession() { _view->removeFromSuperview(); }

/// Serves calls up to the one that is the view's first frame, and seeds the random numbers right
/// before it.
void RenderingSession::showFirstFrame() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    const Clock::Nanoseconds deadline = Clock::current().deadlineAfter(kPatience);
    // A failure waits until the call-out is over: another thread waits for that.
    std::exception_ptr failure;
    runLoop.setObservers(
        [&] {
            try {
                viewIsAboutToBegin();
            } catch (...) {
                failure = std::current_exception();
            }
        },
        nullptr);
    while (!_hasBegun && runLoop.runNextCall(deadline)) {
    }
    runLoop.setObservers(nullptr, nullptr);
    if (failure) {
        std::rethrow_exception(failure);
    }
    if (!_hasBegun) {
        begin();
    }
    if (!_isRunning) {
        _view->pauseAnimating();
    }
    runLoop.runUntil(timeOfFrame(0) + kFramePeriod / 2);
}

void RenderingSession::viewIsAboutToBegin() {
    if (_hasBegun || !_view->isAnimating()) {
        return;
    }
    _hasBegun = true;
    _bundle.checkPictures(*_view);
    _options.settings.applyToLoaded(*_view);
    begin();
}

/// What happens before frame 0, whether the view moves or not.
void RenderingSession::begin() {
    _firstFrameTime = Clock::current().now();
    if (_options.seed) {
        std::srand(*_options.seed);
    }
    happenBeforeFrame(0);
}

/// Between two frames the clock stands half-way. There a pause keeps the loop from the next frame,
/// while a resumed loop must begin exactly when the frame is due.
void RenderingSession::nextFrame() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    ++_frame;
    const bool wasRunning = _isRunning;
    happenBeforeFrame(_frame);
    if (wasRunning && !_isRunning) {
        _view->pauseAnimating();
    }
    if (!wasRunning && _isRunning) {
        runLoop.runUntil(timeOfFrame(_frame));
        _view->resumeAnimating();
    }
    runLoop.runUntil(timeOfFrame(_frame) + kFramePeriod / 2);
}

void RenderingSession::happenBeforeFrame(NSUInteger frame) {
    const auto &events = _options.script.events();
    while (_nextEvent < events.size() && events[_nextEvent].frame <= frame) {
        happen(events[_nextEvent++]);
    }
}

void RenderingSession::happen(const ScriptEvent &event) {
    if (event.kind == ScriptEvent::Kind::Pause) {
        _isRunning = false;
    } else if (event.kind == ScriptEvent::Kind::Resume) {
        _isRunning = true;
    } else if (!event.applyTo(*_view)) {
        throw HostError(_options.script.fileName(),
                        "event " + std::to_string(event.index) + " is not for this wallpaper",
                        "only wallpapers with falling petals have a count and a scale level");
    }
}

Clock::Nanoseconds RenderingSession::timeOfFrame(NSUInteger frame) const {
    return _firstFrameTime + static_cast<Clock::Nanoseconds>(frame) * kFramePeriod;
}

NSTimeInterval RenderingSession::time() const {
    return static_cast<NSTimeInterval>(timeOfFrame(_frame)) / 1e9;
}

} // namespace Lumivera
