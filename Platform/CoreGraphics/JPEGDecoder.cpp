#include "Platform/CoreGraphics/PictureBuffer.h"
#include "Platform/CoreGraphics/PictureDecoders.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <turbojpeg.h>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kStartOfScan = 0xda;
constexpr std::uint8_t kAdobeSegment = 0xee;

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
};

/// The call also fails on a subsampling that has no name in the library, which it decodes all the
/// same; so what it found out is what counts.
Header readHeader(void *handle, Bytes file) {
    Header header;
    tjDecompressHeader3(handle, file.data(), file.size(), &header.width, &header.height,
                        &header.subsampling, &header.colorSpace);
    return header;
}

/// Adobe's programs write inks the other way round, and mark the files that they write.
bool hasAdobeSegment(Bytes file) {
    std::size_t position = 2;
    while (position + 4 <= file.size() && file[position] == 0xff) {
        const std::uint8_t kind = file[position + 1];
        const std::size_t length = std::size_t{file[position + 2]} << 8 | file[position + 3];
        if (kind == kStartOfScan) {
            return false;
        }
        if (kind == kAdobeSegment && length >= 7 && position + 9 <= file.size() &&
            std::memcmp(&file[position + 4], "Adobe", 5) == 0) {
            return true;
        }
        position += kind == 0xff ? 1 : 2 + length;
    }
    return false;
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
    if (header.isInks()) {
        buffer.convertFromInks(hasAdobeSegment(file));
    }
    return buffer.premultipliedImage();
}
