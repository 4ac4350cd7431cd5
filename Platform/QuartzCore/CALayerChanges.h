#pragma once

#include "Platform/Foundation/PlatformExport.h"
#include "Platform/QuartzCore/CALayerValues.h"

#include <cstdint>
#include <variant>

/// What a property was before a change.
template <class T> struct CAOldValue {
    T CALayerValues::*property;
    T value;
};

/// The latest changes of the values of any layers, so that an animation that is added right after a
/// change knows what was shown before. Layers are changed far more often than they are animated:
/// nothing is kept in them but the number of their latest change, and no memory is taken. Beyond
/// kKept changes of all layers, or in the next call-out, the old values are forgotten. Used with
/// the view tree.
class PLATFORM_EXPORT CALayerChanges {
  public:
    static constexpr std::uint64_t kKept = 64;

    using OldValue = std::variant<CAOldValue<CGPoint>, CAOldValue<CGRect>, CAOldValue<float>,
                                  CAOldValue<CATransform3D>>;

    /// The place for one more old value of a layer, to be filled at once. `latest` is the number of
    /// the layer's latest change, 0 for none, and becomes that of this change.
    static OldValue &add(std::uint64_t &latest);

    /// Puts the values back that a layer had before this call-out, given its latest change's
    /// number.
    static void takeBack(std::uint64_t latest, CALayerValues &values);
};
