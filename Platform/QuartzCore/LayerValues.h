#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/QuartzCore/CATransform3D.h"

#include <cstdint>
#include <variant>

/// The properties of a layer that can be animated.
struct LayerValues {
    CGPoint position;
    CGRect bounds;
    float opacity = 1;
    CATransform3D transform = CATransform3DIdentity;
    CATransform3D sublayerTransform = CATransform3DIdentity;
    friend bool operator==(const LayerValues &, const LayerValues &) = default;
};

/// A property's value before a change.
template <class T> struct PreviousValue {
    T LayerValues::*property;
    T value;
};

/// The latest changes of the values of all layers, so that an animation that is added right after a
/// change knows what was shown before. Layers change far more often than they are animated, so a
/// layer keeps only the number of its latest change, and a change allocates no memory. Old values
/// are forgotten after kMaxKept further changes and in the next call-out. For threads that hold the
/// view tree.
class PLATFORM_EXPORT LayerChanges {
  public:
    static constexpr std::uint64_t kMaxKept = 64;

    using OldValue = std::variant<PreviousValue<CGPoint>, PreviousValue<CGRect>,
                                  PreviousValue<float>, PreviousValue<CATransform3D>>;

    /// Returns the slot for one more old value of a layer; the caller fills it at once. `latest` is
    /// the number of the layer's latest change (0 for none) and becomes that of this change.
    static OldValue &add(std::uint64_t &latest);

    /// Restores in `values` what a layer had before this call-out. `latest` is the number of its
    /// latest change.
    static void takeBack(std::uint64_t latest, LayerValues &values);
};
