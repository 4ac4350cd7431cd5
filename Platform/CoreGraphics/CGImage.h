#pragma once

#include "Platform/CoreGraphics/PixelBuffer.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

/// A bitmap that never changes: rows from the top, without padding, one 32-bit word 0xAARRGGBB a
/// pixel in the machine's byte order, the colours premultiplied by alpha. Any thread.
class PLATFORM_EXPORT CGImage final : public NSObject {
  public:
    /// The bounds of every image: its longer side in pixels, and its pixels in bytes.
    static constexpr NSUInteger kMaxSide = 16384;
    static constexpr NSUInteger kMaxBytes = NSUInteger{256} << 20;

    /// Takes over width × height pixels, whose colours must not exceed their alpha. Null when a
    /// side is 0, the size is beyond the bounds, or the number of pixels is wrong.
    static Retained<CGImage> imageWithPixels(NSUInteger width, NSUInteger height,
                                             PixelBuffer pixels);

    /// True when no side is 0 and the size is within the bounds.
    static bool isSizeSupported(std::uint64_t width, std::uint64_t height) noexcept;

    NSUInteger width() const noexcept { return _width; }
    NSUInteger height() const noexcept { return _height; }

    /// width() × height() pixels; valid while the image lives.
    const std::uint32_t *pixels() const noexcept { return _pixels.data(); }

    /// True when every pixel's alpha is 255.
    bool isOpaque() const noexcept { return _opaque; }

  private:
    CGImage(NSUInteger width, NSUInteger height, PixelBuffer pixels);
    ~CGImage() override = default;

    const NSUInteger _width;
    const NSUInteger _height;
    const PixelBuffer _pixels;
    const bool _opaque;
};

/// Decodes a PNG, JPEG or WebP file held in memory; the format is recognised by the first bytes.
/// The size is checked before memory for pixels is taken. The picture comes out upright, as its
/// Exif data say, and in sRGB: colours that the file describes by a profile, or by gamma and
/// chromaticities, are converted; a description that is damaged or absurd is ignored.
/// Null for any other format, an animated WebP, truncated or damaged data, a size beyond CGImage's
/// bounds or of more than `maxPixels`, or too little memory. Any thread.
PLATFORM_EXPORT Retained<CGImage>
CGImageCreateWithData(std::span<const std::uint8_t> bytes,
                      std::uint64_t maxPixels = std::numeric_limits<std::uint64_t>::max());

/// The same for a picture that is larger than it need be: it is made smaller while it is decoded,
/// so that it still covers width × height pixels and keeps within CGImage's bounds. The file may
/// hold up to a billion pixels then; interlaced PNG and lossless WebP files keep CGImage's bounds,
/// since those formats need the whole picture in memory. Null also for a width or a height of 0.
PLATFORM_EXPORT Retained<CGImage> CGImageCreateReducedWithData(std::span<const std::uint8_t> bytes,
                                                               NSUInteger width, NSUInteger height);

/// Encodes a PNG file, 8 bits a component, of premultiplied 0xAARRGGBB pixels whose row y starts at
/// pixels + y × stride; without alpha when every pixel is opaque. Decoding gives the same pixels,
/// and the same pixels always give the same bytes. The compression level goes from 0 (none) over 1
/// (fast, for sequences) to 9 (small); others count as the nearest. Empty when a bitmap of that
/// size is beyond CGImage's bounds, when the stride is less than the width, or without memory. Any
/// thread.
PLATFORM_EXPORT std::vector<std::uint8_t> encodePNG(const std::uint32_t *pixels, NSUInteger width,
                                                    NSUInteger height, NSUInteger stride,
                                                    int compressionLevel);
