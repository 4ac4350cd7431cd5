#pragma once

#include "Platform/Foundation/PlatformExport.h"
#include "Platform/QuartzCore/CALayerValues.h"

#include <cstdint>

/// The latest changes of the values of any layers, so that an animation that is added right after a
/// change knows what was shown before. Layers are changed far more often than they are animated:
/// nothing is kept in them but the number of their latest change, and no memory is taken. Beyond
/// kKept changes of all layers, or in the next call-out, the old values are forgotten. Used with
/// the view tree.
class PLATFORM_EXPORT CALayerChanges {
  public:
    static constexpr std::uint64_t kKept = 64;

    enum class Property : std::uint8_t { Position, Bounds, Opacity, Transform, SublayerTransform };

    /// Keeps an old value of a layer whose change of before had the number `previous`, 0 for none.
    /// The result is this change's number. T is the property's type.
    template <class T>
    static std::uint64_t add(Property property, const T &oldValue, std::uint64_t previous);

    /// Puts the values back that a layer had before this call-out, given its latest change's
    /// number.
    static void takeBack(std::uint64_t latest, CALayerValues &values);
};
