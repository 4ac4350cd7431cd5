#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Lumivera {

/// Rounds the corners of opaque pictures in place. The cut pixels get the colour of the background,
/// so that the picture stays opaque and cheap to composite.
class RoundCorners {
  public:
    /// Cuts nothing.
    RoundCorners() = default;

    /// The radius in pixels and the opaque colour of the background.
    RoundCorners(double radius, const CGColor &background);

    /// Pixels are 0xFFRRGGBB, rows without padding. Leaves a picture that is smaller than its
    /// corners.
    void cut(std::uint32_t *pixels, std::size_t width, std::size_t height) const;

  private:
    std::size_t _side = 0;
    std::uint32_t _background = 0;

    /// The weight of each pixel of the top left corner, of 256.
    std::vector<std::uint32_t> _kept;
};

/// A small picture of a wallpaper: its background with round corners.
class Thumbnail {
  public:
    /// The thumbnail of a bundle; size and radius in points. Null when its background picture is
    /// missing, damaged or beyond the limits below.
    static Retained<CGImage> read(const std::string &bundlePath, CGSize size, CGFloat density,
                                  CGFloat radius);

    /// Limits of the files that are decoded.
    static constexpr std::uint64_t kMaxPixels = 24'000'000;
    static constexpr std::uint64_t kMaxBytes = 64 << 20;
};

} // namespace Lumivera
