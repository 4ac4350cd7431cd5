#include "Platform/CoreGraphics/JPEGSegments.h"
#include "Platform/CoreGraphics/PictureBuffer.h"
#include "Platform/CoreGraphics/PictureDecoders.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <turbojpeg.h>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kStartOfScan = 0xda;

struct HandleDeleter {
    void operator()(void *handle) const { tjDestroy(handle); }
};
using Handle = std::unique_ptr<void, HandleDeleter>;

bool isInks(const JPEGSegments &segments) { return segments.components == 4; }

ColorConversion::Pixels pixelsOf(const JPEGSegments &segments) {
    using Pixels = ColorConversion::Pixels;
    if (isInks(segments)) {
        return segments.hasAdobeMark ? Pixels::InvertedInks : Pixels::Inks;
    }
    return segments.components == 1 ? Pixels::Greys : Pixels::Colors;
}

/// Within coded data 0xff never stands before this byte, so this counts what the decoder will meet,
/// and at most those of a thumbnail besides.
std::uint64_t countScans(Bytes file) {
    constexpr std::uint8_t kScan[] = {0xff, kStartOfScan};
    std::uint64_t count = 0;
    auto position = file.begin();
    while ((position = std::search(position, file.end(), std::begin(kScan), std::end(kScan))) !=
           file.end()) {
        ++count;
        position += sizeof kScan;
    }
    return count;
}

/// Each scan passes over the whole picture, and a scan of nothing takes but a few bytes.
bool isWorthDecoding(Bytes file, const JPEGSegments &segments) {
    constexpr std::uint64_t kScansOfLargest = 32;
    constexpr std::uint64_t kMostPixels = CGImage::kMaximumBytes / 4 * kScansOfLargest;
    return CGImage::isSizeSupported(segments.width, segments.height) &&
           countScans(file) <= kMostPixels / (std::uint64_t{segments.width} * segments.height);
}

bool readPixels(void *handle, Bytes file, TJPF format, PictureBuffer &buffer) {
    constexpr int kFlags = TJFLAG_STOPONWARNING | TJFLAG_ACCURATEDCT;
    return tjDecompress2(handle, file.data(), file.size(), buffer.row(0),
                         static_cast<int>(buffer.width()), static_cast<int>(buffer.bytesPerRow()),
                         static_cast<int>(buffer.height()), format, kFlags) == 0;
}

} // namespace

Retained<CGImage> decodeJPEG(std::span<const std::uint8_t> file, std::uint64_t mostPixels) {
    // The library's own call for the header fails on a sampling that has no name in the library,
    // which it decodes all the same.
    const JPEGSegments segments = JPEGSegments::of(file);
    const Handle handle(tjInitDecompress());
    if (!handle || !isWorthDecoding(file, segments)) {
        return nullptr;
    }
    PictureBuffer buffer(segments.width, segments.height, mostPixels);
    const TJPF format = isInks(segments) ? TJPF_CMYK : TJPF_RGBA;
    if (!buffer || !readPixels(handle.get(), file, format, buffer)) {
        return nullptr;
    }
    if (const auto conversion =
            ColorConversion::fromProfile(segments.profile, pixelsOf(segments))) {
        buffer.convertColors(conversion);
    } else if (isInks(segments)) {
        buffer.convertFromInks(segments.hasAdobeMark);
    }
    return buffer.premultipliedImage(PictureOrientation::inExif(segments.exif));
}
