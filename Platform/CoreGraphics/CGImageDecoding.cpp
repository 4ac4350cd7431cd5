#include "Platform/CoreGraphics/CGImageDecoding.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <png.h>
#include <turbojpeg.h>
#include <vector>
#include <webp/decode.h>

namespace {

using Bytes = std::span<const std::uint8_t>;
using Pixels = std::vector<std::uint32_t>;

constexpr std::uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr std::uint8_t kJpegSignature[] = {0xff, 0xd8, 0xff};

bool beginsWith(Bytes bytes, Bytes signature) {
    return bytes.size() >= signature.size() &&
           std::equal(signature.begin(), signature.end(), bytes.begin());
}

bool isWebP(Bytes bytes) {
    return bytes.size() >= 12 && std::memcmp(bytes.data(), "RIFF", 4) == 0 &&
           std::memcmp(bytes.data() + 8, "WEBP", 4) == 0;
}

/// Rounded to the nearest.
std::uint32_t scaled(std::uint32_t color, std::uint32_t alpha) {
    return (color * alpha + 127) / 255;
}

/// Turns words whose bytes in memory are red, green, blue and alpha into premultiplied 0xAARRGGBB.
void premultiply(Pixels &pixels) {
    for (std::uint32_t &pixel : pixels) {
        std::uint8_t bytes[4];
        std::memcpy(bytes, &pixel, sizeof bytes);
        const std::uint32_t alpha = bytes[3];
        pixel = alpha << 24 | scaled(bytes[0], alpha) << 16 | scaled(bytes[1], alpha) << 8 |
                scaled(bytes[2], alpha);
    }
}

std::uint8_t *bytesOf(Pixels &pixels) { return reinterpret_cast<std::uint8_t *>(pixels.data()); }

/// The library's own cleaning up, whatever way decoding ends.
struct PngImage : png_image {
    PngImage() : png_image{} { version = PNG_IMAGE_VERSION; }
    ~PngImage() { png_image_free(this); }
};

Retained<CGImage> decodePng(Bytes bytes) {
    PngImage image;
    if (!png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) ||
        !CGImage::isSizeSupported(image.width, image.height)) {
        return nullptr;
    }
    image.format = PNG_FORMAT_RGBA;
    Pixels pixels(std::size_t{image.width} * image.height);
    const NSUInteger width = image.width;
    const NSUInteger height = image.height;
    if (!png_image_finish_read(&image, nullptr, bytesOf(pixels), 0, nullptr)) {
        return nullptr;
    }
    premultiply(pixels);
    return CGImage::imageWithPixels(width, height, std::move(pixels));
}

struct DecompressorCloser {
    void operator()(void *handle) const { tjDestroy(handle); }
};

Retained<CGImage> decodeJpeg(Bytes bytes) {
    const std::unique_ptr<void, DecompressorCloser> decompressor(tjInitDecompress());
    int width = 0, height = 0, subsampling = 0, colorSpace = 0;
    if (!decompressor ||
        tjDecompressHeader3(decompressor.get(), bytes.data(), bytes.size(), &width, &height,
                            &subsampling, &colorSpace) != 0 ||
        width <= 0 || height <= 0 ||
        !CGImage::isSizeSupported(static_cast<NSUInteger>(width),
                                  static_cast<NSUInteger>(height))) {
        return nullptr;
    }
    Pixels pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    if (tjDecompress2(decompressor.get(), bytes.data(), bytes.size(), bytesOf(pixels), width, 0,
                      height, TJPF_RGBA, TJFLAG_ACCURATEDCT | TJFLAG_STOPONWARNING) != 0) {
        return nullptr;
    }
    premultiply(pixels);
    return CGImage::imageWithPixels(static_cast<NSUInteger>(width), static_cast<NSUInteger>(height),
                                    std::move(pixels));
}

Retained<CGImage> decodeWebP(Bytes bytes) {
    int width = 0, height = 0;
    if (!WebPGetInfo(bytes.data(), bytes.size(), &width, &height) || width <= 0 || height <= 0 ||
        !CGImage::isSizeSupported(static_cast<NSUInteger>(width),
                                  static_cast<NSUInteger>(height))) {
        return nullptr;
    }
    Pixels pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    if (!WebPDecodeRGBAInto(bytes.data(), bytes.size(), bytesOf(pixels),
                            pixels.size() * sizeof(std::uint32_t), width * 4)) {
        return nullptr;
    }
    premultiply(pixels);
    return CGImage::imageWithPixels(static_cast<NSUInteger>(width), static_cast<NSUInteger>(height),
                                    std::move(pixels));
}

} // namespace

Retained<CGImage> CGImageCreateWithData(std::span<const std::uint8_t> bytes) {
    if (beginsWith(bytes, kPngSignature)) {
        return decodePng(bytes);
    }
    if (beginsWith(bytes, kJpegSignature)) {
        return decodeJpeg(bytes);
    }
    return isWebP(bytes) ? decodeWebP(bytes) : nullptr;
}
