#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <cstdint>
#include <vector>

// These make pictures from others. Null for a null picture. Any thread.

/// The part of the picture inside the rectangle (in pixels, origin at the top left), grown to whole
/// pixels. Null when none of it is inside.
PLATFORM_EXPORT Retained<CGImage> CGImageCreateWithImageInRect(const CGImage *image,
                                                               const CGRect &rect);

/// An inclusive range of 8-bit values.
struct ComponentRange {
    std::uint8_t lowest = 0;
    std::uint8_t highest = 0;
};

/// The picture with those pixels made transparent whose red, green and blue all lie in their
/// ranges. Null for a picture that is not opaque.
PLATFORM_EXPORT Retained<CGImage> CGImageCreateWithMaskingColors(const CGImage *image,
                                                                 ComponentRange red,
                                                                 ComponentRange green,
                                                                 ComponentRange blue);

/// A stencil: a picture seen through it shows where a sample is 0 and is hidden where it is 255.
/// Never changes.
class PLATFORM_EXPORT ImageMask final : public NSObject {
  public:
    /// Takes the samples from a grey, opaque picture; null for any other.
    static Retained<ImageMask> maskCreate(const CGImage *image);

    NSUInteger width() const noexcept { return _width; }
    NSUInteger height() const noexcept { return _height; }
    std::uint8_t sample(NSUInteger x, NSUInteger y) const noexcept {
        return _samples[y * _width + x];
    }

  private:
    ImageMask(NSUInteger width, NSUInteger height, std::vector<std::uint8_t> samples);
    ~ImageMask() override = default;

    const NSUInteger _width;
    const NSUInteger _height;
    const std::vector<std::uint8_t> _samples;
};

/// The picture seen through the stencil, which is stretched over it without smoothing. Null without
/// a picture or a stencil.
PLATFORM_EXPORT Retained<CGImage> CGImageCreateWithMask(const CGImage *image,
                                                        const ImageMask *mask);
