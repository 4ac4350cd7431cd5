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

struct Header {
    int width = -1;
    int height = -1;
    int subsampling = -1;
    int colorSpace = -1;

    bool isSound() const { return width > 0 && height > 0 && colorSpace >= 0; }
    bool isInks() const { return colorSpace == TJCS_CMYK || colorSpace == TJCS_YCCK; }

    ColorConversion::Pixels pixels(bool areInksInverted) const {
        if (isInks()) {
            return areInksInverted ? ColorConversion::Pixels::InvertedInks
                                   : ColorConversion::Pixels::Inks;
        }
        return colorSpace == TJCS_GRAY ? ColorConversion::Pixels::Greys
                                       : ColorConversion::Pixels::Colors;
    }
};

/// The call also fails on a subsampling that has no name in the library, which it decodes all the
/// same; so what it found out is what counts.
Header readHeader(void *handle, Bytes file) {
    Header header;
    tjDecompressHeader3(handle, file.data(), file.size(), &header.width, &header.height,
                        &header.subsampling, &header.colorSpace);
    return header;
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
bool isWorthDecoding(Bytes file, const Header &header) {
    constexpr std::uint64_t kScansOfLargest = 32;
    constexpr std::uint64_t kMostPixels = CGImage::kMaximumBytes / 4 * kScansOfLargest;
    const auto width = static_cast<std::uint64_t>(header.width);
    const auto height = static_cast<std::uint64_t>(header.height);
    return CGImage::isSizeSupported(width, height) &&
           countScans(file) <= kMostPixels / (width * height);
}

bool readPixels(void *handle, Bytes file, TJPF format, PictureBuffer &buffer) {
    constexpr int kFlags = TJFLAG_STOPONWARNING | TJFLAG_ACCURATEDCT;
    return tjDecompress2(handle, file.data(), file.size(), buffer.row(0),
                         static_cast<int>(buffer.width()), static_cast<int>(buffer.bytesPerRow()),
                         static_cast<int>(buffer.height()), format, kFlags) == 0;
}

} // namespace

Retained<CGImage> decodeJPEG(std::span<const std::uint8_t> file, std::uint64_t mostPixels) {
    const Handle handle(tjInitDecompress());
    const Header header = handle ? readHeader(handle.get(), file) : Header();
    if (!header.isSound() || !isWorthDecoding(file, header)) {
        return nullptr;
    }
    PictureBuffer buffer(static_cast<std::uint64_t>(header.width),
                         static_cast<std::uint64_t>(header.height), mostPixels);
    const TJPF format = header.isInks() ? TJPF_CMYK : TJPF_RGBA;
    if (!buffer || !readPixels(handle.get(), file, format, buffer)) {
        return nullptr;
    }
    const JPEGSegments segments = JPEGSegments::of(file);
    const auto pixels = header.pixels(segments.hasAdobeMark);
    if (const auto conversion = ColorConversion::fromProfile(segments.profile, pixels)) {
        buffer.convertColors(conversion);
    } else if (header.isInks()) {
        buffer.convertFromInks(segments.hasAdobeMark);
    }
    return buffer.premultipliedImage(PictureOrientation::inExif(segments.exif));
}
