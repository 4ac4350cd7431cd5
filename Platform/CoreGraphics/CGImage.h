#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <cstdint>
#include <memory>
#include <vector>

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
    static Retained<CGImage> imageWithPixels(NSUInteger width, NSUInteger height,
                                             std::vector<std::uint32_t> pixels);

    /// The same with memory that nobody had to clear first; `pixels` has room for all.
    static Retained<CGImage> imageOwningPixels(NSUInteger width, NSUInteger height,
                                               std::unique_ptr<std::uint32_t[]> pixels);

    /// True when a bitmap of that many pixels lies within the bounds.
    static bool isSizeSupported(std::uint64_t width, std::uint64_t height) noexcept;

    NSUInteger width() const noexcept { return _width; }
    NSUInteger height() const noexcept { return _height; }

    /// width() × height() pixels; valid while the image lives.
    const std::uint32_t *pixels() const noexcept { return _pixels.get(); }

    /// True when every pixel's alpha is 255. Found once, when the image is made.
    bool isOpaque() const noexcept { return _opaque; }

  private:
    using Pixels = std::shared_ptr<const std::uint32_t[]>;

    CGImage(NSUInteger width, NSUInteger height, Pixels pixels);
    ~CGImage() override = default;

    const NSUInteger _width;
    const NSUInteger _height;
    const Pixels _pixels;
    const bool _opaque;
};
