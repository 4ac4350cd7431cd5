#pragma once

#include "Platform/Foundation/SimulatedClock.h"
#include "Platform/UIKit/UIScreen.h"

#include <memory>

namespace Lumivera {

/// Scope in which simulated time and a main screen of its own are in force. At its end, when
/// nothing of the view tree is left, it lets every thread and call run out first. Main thread.
class SimulatedTime {
  public:
    SimulatedTime(const CGRect &screenBounds, CGFloat screenScale);
    ~SimulatedTime();

    SimulatedTime(const SimulatedTime &) = delete;
    SimulatedTime &operator=(const SimulatedTime &) = delete;

  private:
    std::unique_ptr<SimulatedClock> _clock;
};

} // namespace Lumivera
