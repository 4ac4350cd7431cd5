#include "Host/Playing/Show.h"

#include "Host/Playing/Screenshot.h"
#include "Host/Support/Printing.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <algorithm>
#include <cstdio>

namespace Lumivera {

namespace {

constexpr const char *kNextFrame = "lumiveraNextFrame";
constexpr NSTimeInterval kFrameTime = 1.0 / 60;

/// The run loop has its own ways again when the scope ends, however it ends.
struct LoopSettings {
    ~LoopSettings() {
        NSRunLoop::mainRunLoop().setObservers(nullptr, nullptr);
        NSRunLoop::mainRunLoop().setWaiter(nullptr);
    }
};

} // namespace

Show::Show(Display &display, std::optional<double> seconds) : _display(display), _seconds(seconds) {
    _display.setListener(this);
}

Show::~Show() {
    NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(nullptr, kNextFrame);
    _display.setListener(nullptr);
}

void Show::run() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    const LoopSettings untilDone;
    runLoop.setWaiter(&_display);
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

/// A failure inside a call-out ends the show; another thread may wait for that call-out's end.
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
    if ((hasChanged || _isPictureWanted) && _display.isVisible()) {
        draw();
    }
}

void Show::draw() {
    const NSTimeInterval start = CACurrentMediaTime();
    _display.present([this](const CompositorTarget &target) -> const std::vector<DeviceRect> & {
        _isPictureWanted = false;
        return _compositor.composite(*root().layer(), target, _display.density());
    });
    if (_compositor.isAnimationInProgress() && !_isFramePending) {
        drawNextFrame(std::max(0.0, start + kFrameTime - CACurrentMediaTime()));
    }
}

void Show::drawNextFrame(NSTimeInterval delay) {
    _isFramePending = true;
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        nullptr, kNextFrame,
        [this] {
            _isFramePending = false;
            _isPictureWanted = true;
        },
        delay);
}

void Show::displayVisibilityChanged() {
    loseWhatIsShown();
    updateRunning();
}

void Show::displayClosed() { NSRunLoop::mainRunLoop().stop(); }

void Show::keyPressed(DisplayKey key) {
    switch (key) {
    case DisplayKey::Pause:
        _isPausedByUser = !_isPausedByUser;
        updateRunning();
        break;
    case DisplayKey::Screenshot:
        saveScreenshot();
        break;
    case DisplayKey::FullScreen:
        _display.toggleFullScreen();
        break;
    case DisplayKey::Quit:
        displayClosed();
        break;
    default:
        break;
    }
}

/// A picture that cannot be written is told about and ends nothing.
void Show::saveScreenshot() {
    loseWhatIsShown();
    try {
        printToStandardOutput(takeScreenshot(*root().layer(), pictureSize()) + "\n");
    } catch (const std::exception &error) {
        std::fprintf(stderr, "lumivera: %s\n", error.what());
    }
}

} // namespace Lumivera
