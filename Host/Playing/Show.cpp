#include "Host/Playing/Show.h"

#include "Host/Playing/OffscreenPicture.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <algorithm>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kFrameTime = 1.0 / 60;

/// Removes the observers and the waiter from the run loop when the scope ends, also by an
/// exception.
struct LoopSettings {
    ~LoopSettings() {
        NSRunLoop::mainRunLoop().setObservers(nullptr, nullptr);
        NSRunLoop::mainRunLoop().setWaiter(nullptr);
    }
};

} // namespace

Show::Show(Window &window, std::optional<double> seconds)
    : _window(window), _seconds(seconds), _nextFrame([this] { drawAgain(); }) {
    _window.setListener(this);
}

Show::~Show() { _window.setListener(nullptr); }

void Show::run() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    const LoopSettings untilDone;
    runLoop.setWaiter(&_window);
    runLoop.setObservers([this] { guard([this] { callOutBegins(); }); },
                         [this] { guard([this] { callOutEnded(); }); });
    updateRunning();
    if (_seconds) {
        runLoop.runForSeconds(*_seconds);
    } else {
        runLoop.runUntil(Clock::kNever);
    }
    if (_failure) {
        std::rethrow_exception(_failure);
    }
}

/// Keeps a failure until run() can throw it: an exception must not leave a call-out, because
/// another thread may wait for its end.
void Show::guard(const std::function<void()> &action) {
    if (_failure) {
        return;
    }
    try {
        action();
    } catch (...) {
        _failure = std::current_exception();
        NSRunLoop::mainRunLoop().stop();
    }
}

void Show::callOutEnded() {
    const bool hasChanged = root().layer()->needsComposite();
    if ((hasChanged || _isPictureWanted) && _window.isVisible()) {
        draw();
    }
}

void Show::draw() {
    const NSTimeInterval start = CACurrentMediaTime();
    _window.present([this](const CompositorTarget &target) -> const std::vector<DeviceRect> & {
        _isPictureWanted = false;
        return _compositor.composite(*root().layer(), target, _window.density());
    });
    if (_compositor.isAnimationInProgress() && !_nextFrame.isPending()) {
        _nextFrame.callAfter(std::max(0.0, start + kFrameTime - CACurrentMediaTime()));
    }
}

void Show::windowVisibilityChanged() {
    drawAgain();
    updateRunning();
}

void Show::windowClosed() { NSRunLoop::mainRunLoop().stop(); }

void Show::keyPressed(WindowKey key) {
    switch (key) {
    case WindowKey::Pause:
        _isPausedByUser = !_isPausedByUser;
        updateRunning();
        break;
    case WindowKey::Screenshot:
        saveScreenshot();
        break;
    case WindowKey::FullScreen:
        _window.toggleFullScreen();
        break;
    case WindowKey::Quit:
        windowClosed();
        break;
    default:
        break;
    }
}

/// The show goes on when the picture cannot be written.
void Show::saveScreenshot() {
    drawAgain();
    try {
        printToStandardOutput(inOneLine(takeScreenshot(*root().layer(), pictureSize())) + "\n");
    } catch (const std::exception &error) {
        printError(error.what());
    }
}

} // namespace Lumivera
