#pragma once

#include "Platform/QuartzCore/CABasicAnimation.h"
#include "Platform/QuartzCore/LayerValues.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

/// The numbers that a key path stands for; the first LayerKeyPath::count() of them are used.
using AnimationComponents = std::array<CGFloat, 16>;

/// One of the key paths that can be animated: reads its numbers from a layer's values, and changes
/// the values so that those numbers would be read.
class LayerKeyPath {
  public:
    /// Nothing for a text that is no key path.
    static std::optional<LayerKeyPath> parse(std::string_view text);

    std::size_t count() const;

    AnimationComponents read(const LayerValues &values) const;
    void write(const AnimationComponents &components, LayerValues &values) const;

    /// An animation's value as numbers; nothing when it is of the wrong type.
    std::optional<AnimationComponents> componentsOf(const AnimationValue &value) const;

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

    explicit constexpr LayerKeyPath(Kind kind) : _kind(kind) {}

    Kind _kind;
};
