#include "Platform/QuartzCore/CALayerChanges.h"

#include "Platform/Foundation/NSRunLoop.h"

#include <cstddef>
#include <cstring>

namespace {

struct Change {
    std::uint64_t number = 0;
    std::uint64_t previous = 0;
    std::uint64_t callOut = 0;
    CALayerChanges::Property property{};
    alignas(CGFloat) std::byte value[sizeof(CATransform3D)];
};

Change changes[CALayerChanges::kKept];
std::uint64_t latestNumber = 0;

template <class T> void restore(const Change &change, T &field) {
    std::memcpy(&field, change.value, sizeof field);
}

void restore(const Change &change, CALayerValues &values) {
    using Property = CALayerChanges::Property;
    switch (change.property) {
    case Property::Position:
        restore(change, values.position);
        break;
    case Property::Bounds:
        restore(change, values.bounds);
        break;
    case Property::Opacity:
        restore(change, values.opacity);
        break;
    case Property::Transform:
        restore(change, values.transform);
        break;
    case Property::SublayerTransform:
        restore(change, values.sublayerTransform);
        break;
    }
}

} // namespace

template <class T>
std::uint64_t CALayerChanges::add(Property property, const T &oldValue, std::uint64_t previous) {
    Change &change = changes[++latestNumber % kKept];
    change.number = latestNumber;
    change.previous = previous;
    change.callOut = NSRunLoop::mainRunLoop().callOutNumber();
    change.property = property;
    static_assert(sizeof oldValue <= sizeof change.value);
    std::memcpy(change.value, &oldValue, sizeof oldValue);
    return latestNumber;
}

template PLATFORM_EXPORT std::uint64_t CALayerChanges::add(Property, const CGPoint &,
                                                           std::uint64_t);
template PLATFORM_EXPORT std::uint64_t CALayerChanges::add(Property, const CGRect &, std::uint64_t);
template PLATFORM_EXPORT std::uint64_t CALayerChanges::add(Property, const float &, std::uint64_t);
template PLATFORM_EXPORT std::uint64_t CALayerChanges::add(Property, const CATransform3D &,
                                                           std::uint64_t);

void CALayerChanges::takeBack(std::uint64_t latest, CALayerValues &values) {
    const std::uint64_t callOut = NSRunLoop::mainRunLoop().callOutNumber();
    for (std::uint64_t number = latest; number != 0;) {
        const Change &change = changes[number % kKept];
        if (change.number != number || change.callOut != callOut) {
            return;
        }
        restore(change, values);
        number = change.previous;
    }
}
