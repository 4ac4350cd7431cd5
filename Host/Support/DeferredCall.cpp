#include "Host/Support/DeferredCall.h"

#include "Platform/Foundation/NSRunLoop.h"

namespace Lumivera {

namespace {

constexpr const char *kCall = "lumiveraDeferredCall";

/// Identifies this object's calls to the run loop.
class Target final : public NSObject {};

} // namespace

DeferredCall::DeferredCall(std::function<void()> action)
    : _action(std::move(action)), _target(makeRetained<Target>()) {}

DeferredCall::~DeferredCall() { cancel(); }

void DeferredCall::callAfter(NSTimeInterval delay) {
    cancel();
    _isPending = true;
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        _target.get(), kCall,
        [this] {
            _isPending = false;
            const auto action = _action; // a copy: the call may delete this object
            action();
        },
        delay);
}

void DeferredCall::cancel() {
    if (_isPending) {
        _isPending = false;
        NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(_target.get(), kCall);
    }
}

} // namespace Lumivera
