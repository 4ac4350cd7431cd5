#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"

#include <cstdint>
#include <string>

namespace Lumivera {

/// A small picture of a wallpaper: its background, with round corners. Nothing else of it is kept.
class Thumbnail {
  public:
    /// Of a bundle; size and radius in points. Null when it has no background picture, or a damaged
    /// one, or one that is too large to be decoded for this.
    static Retained<CGImage> read(const std::string &bundlePath, CGSize size, CGFloat density,
                                  CGFloat radius);

    /// Most pixels, and most bytes of a file, that are decoded.
    static constexpr std::uint64_t kMostPixels = 24'000'000;
    static constexpr std::uint64_t kMostBytes = 64 << 20;
};

} // namespace Lumivera
