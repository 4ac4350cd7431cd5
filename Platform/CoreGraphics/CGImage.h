#pragma once

#include "Platform/CoreGraphics/CGPixels.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <cstdint>

/// A bitmap that never changes: rows from the top, without padding, one 32-bit word a pixel in the
/// machine's byte order, 0xAARRGGBB with the colours premultiplied by alpha. Any thread.
class PLATFORM_EXPORT CGImage final : public NSObject {
  public:
    /// Largest side in pixels, and largest size of the decoded pixels in bytes; beyond either,
    /// nothing is an image.
    static constexpr NSUInteger kMaximumSide = 16384;
    static constexpr NSUInteger kMaximumBytes = NSUInteger{256} << 20;

    /// Takes over width × height pixels. Null when a side is 0 or beyond the bounds above, or when
    /// the number of pixels does not fit. Pixels whose colours exceed their alpha are the caller's
    /// mistake.
    static Retained<CGImage> imageWithPixels(NSUInteger width, NSUInteger height, CGPixels pixels);

    /// True when a bitmap of that many pixels lies within the bounds.
    static bool isSizeSupported(std::uint64_t width, std::uint64_t height) noexcept;

    NSUInteger width() const noexcept { return _width; }
    NSUInteger height() const noexcept { return _height; }

    /// width() × height() pixels; valid while the image lives.
    const std::uint32_t *pixels() const noexcept { return _pixels.data(); }

    /// True when every pixel's alpha is 255. Found once, when the image is made.
    bool isOpaque() const noexcept { return _opaque; }

  private:
    CGImage(NSUInteger width, NSUInteger height, CGPixels pixels);
    ~CGImage() override = default;

    const NSUInteger _width;
    const NSUInteger _height;
    const CGPixels _pixels;
    const bool _opaque;
};
