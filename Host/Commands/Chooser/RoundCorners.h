#pragma once

#include "Platform/CoreGraphics/CGColor.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Lumivera {

/// Rounds off the corners of opaque pictures in place: what lies outside becomes the colour of the
/// plain background that they stand on, so that they stay opaque and cheap to show.
class RoundCorners {
  public:
    /// Cuts nothing.
    RoundCorners() = default;

    /// The radius in pixels; an opaque colour.
    RoundCorners(double radius, const CGColor &background);

    /// Rows without padding, a pixel 0xFFRRGGBB. One that is smaller than its corners is left.
    void cut(std::uint32_t *pixels, std::size_t width, std::size_t height) const;

  private:
    std::size_t _side = 0;
    std::uint32_t _background = 0;

    /// How much of each pixel of the top left corner stays, of 256.
    std::vector<std::uint32_t> _kept;
};

} // namespace Lumivera
