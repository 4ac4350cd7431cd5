#include "Platform/QuartzCore/LayerAnimations.h"

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/QuartzCore/CAAnimation.h"
#include "Platform/QuartzCore/CALayer.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr const char *kCall = "layerAnimation";

/// Bounds the recursion of a delegate that, each time it is told that its animation was replaced,
/// adds another one under the same key.
constexpr int kMaxTellingDepth = 8;

class CallTarget final : public NSObject {};

std::uint64_t callOutNumber() { return NSRunLoop::mainRunLoop().callOutNumber(); }

} // namespace

LayerAnimations::~LayerAnimations() {
    for (const Entry &entry : _entries) {
        cancelCalls(entry);
    }
}

void LayerAnimations::add(CAAnimation &animation, std::string_view key) {
    changeBegins();
    const NSTimeInterval now = CACurrentMediaTime();
    const LayerValues shown = _layer.presentationAt(now);
    const Entry *old = find(key);
    std::optional<Entry> replaced = old ? std::optional(erase(*old)) : std::nullopt;
    static std::uint64_t number = 0;
    const NSTimeInterval begin = animation.beginTime() != 0 ? animation.beginTime() : now;
    _entries.push_back({++number,
                        std::string(key),
                        Retained<CAAnimation>(&animation),
                        {animation, begin, {_before.shown, shown}},
                        makeRetained<CallTarget>()});
    _layer._hasAnimations = true;
    schedule(_entries.back(), now);
    _layer.setNeedsComposite();
    if (replaced && _telling < kMaxTellingDepth) {
        stop(*replaced, false);
    }
}

/// Schedules run-loop calls for the animation's end and for a beginning in the future.
void LayerAnimations::schedule(const Entry &entry, NSTimeInterval now) {
    if (entry.running.begin() > now) {
        defer(entry, entry.running.begin() - now, &LayerAnimations::begins);
    }
    if (std::isfinite(entry.running.end())) {
        defer(entry, entry.running.end() - now, &LayerAnimations::ends);
    }
}

void LayerAnimations::defer(const Entry &entry, NSTimeInterval delay,
                            void (LayerAnimations::*action)(std::uint64_t)) {
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        entry.calls.get(), kCall,
        [weakLayer = Weak<CALayer>(&_layer), number = entry.number, action] {
            const Retained<CALayer> layer = weakLayer.lock();
            if (layer && layer->_animations) {
                ((*layer->_animations).*action)(number);
            }
        },
        delay);
}

void LayerAnimations::cancelCalls(const Entry &entry) {
    if (entry.calls) {
        NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(entry.calls.get(), kCall);
    }
}

void LayerAnimations::begins(std::uint64_t number) {
    if (find(number)) {
        _layer.setNeedsComposite();
    }
}

/// The end is the last of the entry's calls, so erase() need not search the run loop for others.
void LayerAnimations::ends(std::uint64_t number) {
    changeBegins();
    if (Entry *entry = find(number)) {
        entry->calls = nullptr;
        stop(*entry, true);
    }
    const Entry *entry = find(number);
    if (entry && entry->animation->isRemovedOnCompletion()) {
        erase(*entry);
    }
    _layer.setNeedsComposite();
}

void LayerAnimations::remove(std::string_view key) {
    changeBegins();
    if (const Entry *entry = find(key)) {
        remove(entry->number);
    }
}

void LayerAnimations::removeAll() {
    changeBegins();
    std::vector<std::uint64_t> numbers;
    for (const Entry &entry : _entries) {
        numbers.push_back(entry.number);
    }
    for (const std::uint64_t number : numbers) {
        remove(number);
    }
}

void LayerAnimations::remove(std::uint64_t number) {
    if (Entry *entry = find(number)) {
        stop(*entry, false);
    }
    if (const Entry *entry = find(number)) {
        erase(*entry);
    }
}

/// Tells the delegate once. The delegate may remove the entry and add others.
void LayerAnimations::stop(Entry &entry, bool finished) {
    if (std::exchange(entry.isStopped, true)) {
        return;
    }
    const Retained<CAAnimation> animation = entry.animation;
    if (const auto delegate = animation->delegate()) {
        ++_telling;
        delegate->animationDidStop_finished(animation.get(), finished);
        --_telling;
    }
}

LayerAnimations::Entry LayerAnimations::erase(const Entry &entry) {
    const auto place = _entries.begin() + (&entry - _entries.data());
    Entry erased = std::move(*place);
    _entries.erase(place);
    _layer._hasAnimations = !isEmpty();
    cancelCalls(erased);
    _layer.setNeedsComposite();
    return erased;
}

const LayerAnimations::Entry *LayerAnimations::find(std::string_view key) const {
    const auto entry = std::find_if(_entries.begin(), _entries.end(),
                                    [key](const Entry &e) { return e.key == key; });
    return entry != _entries.end() ? &*entry : nullptr;
}

LayerAnimations::Entry *LayerAnimations::find(std::uint64_t number) {
    const auto entry = std::find_if(_entries.begin(), _entries.end(),
                                    [number](const Entry &e) { return e.number == number; });
    return entry != _entries.end() ? &*entry : nullptr;
}

Retained<CAAnimation> LayerAnimations::animationForKey(std::string_view key) const {
    const Entry *entry = find(key);
    return entry ? entry->animation : nullptr;
}

bool LayerAnimations::apply(NSTimeInterval time, LayerValues &values) const {
    const LayerValues own = values;
    bool isInProgress = false;
    for (const Entry &entry : _entries) {
        isInProgress = entry.running.apply(time, own, values) || isInProgress;
    }
    return isInProgress;
}

/// presentationAt() includes the changes that this call-out made before this call. While there is
/// no animation they are recorded in LayerChanges, and are taken back here.
void LayerAnimations::changeBegins() {
    if (_before.callOut == callOutNumber()) {
        return;
    }
    _before = {callOutNumber(), _layer.presentationAt(CACurrentMediaTime())};
    if (isEmpty()) {
        LayerChanges::takeBack(_layer._latestChange, _before.shown);
    }
}

void LayerAnimations::keepShownPlace() {
    changeBegins();
    const LayerValues shown = _layer.presentationAt(CACurrentMediaTime());
    _before.shown.position = shown.position;
    _before.shown.transform = shown.transform;
}

bool LayerAnimations::isForgettable() const {
    return isEmpty() && _telling == 0 && _before.callOut != callOutNumber();
}
