#include "Platform/QuartzCore/LayerValues.h"

#include "Platform/Foundation/NSRunLoop.h"

#include <utility>

namespace {

struct Change {
    std::uint64_t number = 0;
    std::uint64_t previous = 0;
    std::uint64_t callOut = 0;
    LayerChanges::OldValue oldValue;
};

Change changes[LayerChanges::kMaxKept];
std::uint64_t latestNumber = 0;

} // namespace

LayerChanges::OldValue &LayerChanges::add(std::uint64_t &latest) {
    Change &change = changes[++latestNumber % kMaxKept];
    change.number = latestNumber;
    change.previous = std::exchange(latest, latestNumber);
    change.callOut = NSRunLoop::mainRunLoop().callOutNumber();
    return change.oldValue;
}

void LayerChanges::takeBack(std::uint64_t latest, LayerValues &values) {
    const std::uint64_t callOut = NSRunLoop::mainRunLoop().callOutNumber();
    for (std::uint64_t number = latest; number != 0;) {
        const Change &change = changes[number % kMaxKept];
        if (change.number != number || change.callOut != callOut) {
            return;
        }
        std::visit([&values](const auto &old) { values.*old.property = old.value; },
                   change.oldValue);
        number = change.previous;
    }
}
