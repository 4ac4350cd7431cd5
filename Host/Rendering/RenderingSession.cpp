#include "Host/Rendering/RenderingSession.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleCall.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <cstdlib>
#include <exception>

namespace Lumivera {

namespace {

constexpr Clock::Nanoseconds kFramePeriod = 25'000'000;
constexpr NSTimeInterval kPatience = 10;

} // namespace

RenderingSession::RenderingSession(BundleFolder folder, Options options)
    : _options(std::move(options)),
      _simulatedTime({{0, 0}, _options.settings.size}, _options.settings.density),
      _bundle(std::move(folder)), _root(UIView::initWithFrame({{0, 0}, _options.settings.size})),
      _view(_bundle.makeView()), _picture(_options.settings) {
    _options.settings.applyTo(*_view);
    _root->addSubview(_view.get());
    showFirstFrame();
}

RenderingSession::~RenderingSession() {
    const BundleCall call(BundleCall::Kind::Ending);
    _view->removeFromSuperview();
}

/// Runs the calls up to the view's first frame, and seeds the random numbers before that one.
void RenderingSession::showFirstFrame() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    const Clock::Nanoseconds deadline = Clock::current().deadlineAfter(kPatience);
    BundleCall::set(BundleCall::Kind::InitResource);
    // An exception must not leave the call-out, because another thread waits for its end.
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
        pause();
    }
    BundleCall::set(BundleCall::Kind::DoAnimating);
    runLoop.runUntil(timeOfFrame(0) + kFramePeriod / 2);
    BundleCall::set(BundleCall::Kind::None);
}

void RenderingSession::viewIsAboutToBegin() {
    if (_hasBegun || !_view->isAnimating()) {
        return;
    }
    _hasBegun = true;
    BundleCall::set(BundleCall::Kind::DoAnimating);
    _bundle.checkPictures(*_view);
    _options.settings.applyToLoaded(*_view);
    begin();
}

/// Prepares frame 0, whether the view animates or not.
void RenderingSession::begin() {
    _firstFrameTime = Clock::current().now();
    if (_options.seed) {
        std::srand(*_options.seed);
    }
    happenBeforeFrame(0);
}

/// The clock stands half-way between two frames, so that a pause prevents the next frame. A resumed
/// view must begin exactly when its frame is due.
void RenderingSession::nextFrame() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    ++_frame;
    const bool wasRunning = _isRunning;
    happenBeforeFrame(_frame);
    if (wasRunning && !_isRunning) {
        pause();
    }
    const BundleCall call(BundleCall::Kind::DoAnimating);
    if (!wasRunning && _isRunning) {
        runLoop.runUntil(timeOfFrame(_frame));
        const BundleCall resuming(BundleCall::Kind::Resume);
        _view->resumeAnimating();
    }
    runLoop.runUntil(timeOfFrame(_frame) + kFramePeriod / 2);
}

void RenderingSession::pause() {
    const BundleCall call(BundleCall::Kind::Pause);
    _view->pauseAnimating();
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
    } else if (!event.applyTo(*_view) && !_options.isLenient) {
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
