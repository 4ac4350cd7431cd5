#pragma once

#include "Platform/QuartzCore/CABasicAnimation.h"
#include "Platform/QuartzCore/CALayerValues.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

/// The numbers that a key path stands for; the first CAKeyPath::count() of them are used.
using CAComponents = std::array<CGFloat, 16>;

/// One of the key paths that can be animated: reads its numbers from a layer's values, and changes
/// the values so that those numbers would be read.
class CAKeyPath {
  public:
    /// Nothing for a text that is no key path.
    static std::optional<CAKeyPath> parse(std::string_view text);

    std::size_t count() const;

    CAComponents read(const CALayerValues &values) const;
    void write(const CAComponents &components, CALayerValues &values) const;

    /// An animation's value as numbers; nothing when it is of the wrong type.
    std::optional<CAComponents> componentsOf(const CAAnimationValue &value) const;

    /// True when the number is an angle, so that adding whole turns changes nothing.
    bool isAngle() const { return _kind == Kind::Rotation || _kind == Kind::SublayerRotationX; }

  private:
    enum class Kind : std::uint8_t {
        Position,
        Bounds,
        Opacity,
        Transform,
        SublayerTransform,
        Translation,
        Scale,
        Rotation,
        SublayerRotationX,
    };

    explicit constexpr CAKeyPath(Kind kind) : _kind(kind) {}

    Kind _kind;
};
