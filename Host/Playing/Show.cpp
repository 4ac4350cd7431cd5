#include "Host/Playing/Show.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

namespace Lumivera {

namespace {

/// Removes the observers and the waiter from the run loop when the scope ends, also by an
/// exception.
struct LoopSettings {
    ~LoopSettings() {
        NSRunLoop::mainRunLoop().setObservers(nullptr, nullptr);
        NSRunLoop::mainRunLoop().setWaiter(nullptr);
    }
};

} // namespace

Show::Show(Window &window, std::optional<double> seconds) : _window(window), _seconds(seconds) {
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
    const bool isOther = hasChanged();
    if ((isOther || _isPictureWanted) && _window.isVisible()) {
        present();
    }
}

void Show::present() {
    _window.present([this](const CompositorTarget &target) -> const std::vector<DeviceRect> & {
        _isPictureWanted = false;
        return draw(target);
    });
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
        printToStandardOutput(inOneLine(takeScreenshot()) + "\n");
    } catch (const std::exception &error) {
        printError(error.what());
    }
}

} // namespace Lumivera
