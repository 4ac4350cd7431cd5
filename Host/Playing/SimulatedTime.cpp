#include "Host/Playing/SimulatedTime.h"

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"

namespace Lumivera {

namespace {

constexpr NSTimeInterval kTurn = 0.05;
constexpr int kTurnsAtMost = 1200;

bool isAnythingLeft() {
    return NSThread::detachedThreadCount() > 0 ||
           NSRunLoop::mainRunLoop().nextDeadline() != Clock::kNever;
}

} // namespace

SimulatedTime::SimulatedTime(const CGRect &screenBounds, CGFloat screenScale)
    : _clock(std::make_unique<SimulatedClock>()) {
    Clock::setCurrent(_clock.get());
    UIScreen::setMainScreen(makeRetained<UIScreen>(screenBounds, screenScale));
}

SimulatedTime::~SimulatedTime() {
    for (int turn = 0; turn < kTurnsAtMost && isAnythingLeft(); ++turn) {
        NSRunLoop::mainRunLoop().runForSeconds(kTurn);
    }
    UIScreen::setMainScreen(nullptr);
    if (isAnythingLeft()) {
        // A wallpaper's thread that will not end still needs its clock.
        static_cast<void>(_clock.release());
        return;
    }
    Clock::setCurrent(nullptr);
}

} // namespace Lumivera
