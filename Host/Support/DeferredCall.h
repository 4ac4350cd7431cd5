#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/NSTypes.h"
#include "Platform/Foundation/Retained.h"

#include <functional>

namespace Lumivera {

/// A call that the main run loop makes later, if nothing comes between. Main thread.
class DeferredCall {
  public:
    explicit DeferredCall(std::function<void()> action);

    /// The call is not made any more.
    ~DeferredCall();

    DeferredCall(const DeferredCall &) = delete;
    DeferredCall &operator=(const DeferredCall &) = delete;

    /// Once, in that many seconds, whatever was said before.
    void callAfter(NSTimeInterval delay);
    void cancel();

    bool isPending() const { return _isPending; }

  private:
    const std::function<void()> _action;
    const Retained<NSObject> _target;
    bool _isPending = false;
};

} // namespace Lumivera
