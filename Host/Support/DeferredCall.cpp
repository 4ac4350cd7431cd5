#include "Host/Support/DeferredCall.h"

#include "Platform/Foundation/NSRunLoop.h"

namespace Lumivera {

namespace {

constexpr const char *kCall = "lumiveraDeferredCall";

/// Tells one object's calls from another's.
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
            const auto action = _action; // it may end this object
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
