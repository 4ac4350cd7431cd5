#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/NSTypes.h"
#include "Platform/Foundation/Retained.h"

#include <functional>

namespace Lumivera {

/// A call that the main run loop makes later unless it is cancelled. Main thread.
class DeferredCall {
  public:
    explicit DeferredCall(std::function<void()> action);

    /// Cancels the call.
    ~DeferredCall();

    DeferredCall(const DeferredCall &) = delete;
    DeferredCall &operator=(const DeferredCall &) = delete;

    /// Calls the action once in `delay` seconds, instead of any call that is pending.
    void callAfter(NSTimeInterval delay);
    void cancel();

    bool isPending() const { return _isPending; }

  private:
    const std::function<void()> _action;
    const Retained<NSObject> _target;
    bool _isPending = false;
};

} // namespace Lumivera
