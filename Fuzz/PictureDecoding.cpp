// A picture file is either refused, or gives a valid bitmap within the limits, which survives being
// written as PNG and read again.

#include "Platform/CoreGraphics/CGImage.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

constexpr NSUInteger kMaxPixelsToCheck = 1 << 18;
constexpr NSUInteger kMaxPixelsToEncode = 4096;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool isPremultiplied(std::uint32_t pixel) {
    const std::uint32_t alpha = pixel >> 24;
    return (pixel >> 16 & 0xff) <= alpha && (pixel >> 8 & 0xff) <= alpha && (pixel & 0xff) <= alpha;
}

bool isOpaque(std::uint32_t pixel) { return pixel >> 24 == 0xff; }

void checkRoundTrip(const CGImage &image) {
    const auto file = encodePNG(image.pixels(), image.width(), image.height(), image.width(), 1);
    const auto again = CGImageCreateWithData(file);
    require(again && again->width() == image.width() && again->height() == image.height());
    const std::uint32_t *const end = image.pixels() + image.width() * image.height();
    require(std::equal(image.pixels(), end, again->pixels()));
}

void check(const Retained<CGImage> &image) {
    if (!image) {
        return;
    }
    require(CGImage::isSizeSupported(image->width(), image->height()));
    const NSUInteger count = image->width() * image->height();
    if (count > kMaxPixelsToCheck) {
        return;
    }
    const std::uint32_t *const end = image->pixels() + count;
    require(std::all_of(image->pixels(), end, isPremultiplied));
    require(image->isOpaque() == std::all_of(image->pixels(), end, isOpaque));
    if (count <= kMaxPixelsToEncode) {
        checkRoundTrip(*image);
    }
}

void check(std::span<const std::uint8_t> file) {
    check(CGImageCreateWithData(file));
    check(CGImageCreateReducedWithData(file, 8, 8));
}

std::uint32_t checksum(std::span<const std::uint8_t> bytes) {
    std::uint32_t sum = ~0u;
    for (const std::uint8_t byte : bytes) {
        sum ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = sum >> 1 ^ (sum & 1 ? 0xedb88320u : 0);
        }
    }
    return ~sum;
}

std::uint32_t numberAt(const std::vector<std::uint8_t> &file, std::size_t position) {
    return std::uint32_t{file[position]} << 24 | std::uint32_t{file[position + 1]} << 16 |
           std::uint32_t{file[position + 2]} << 8 | file[position + 3];
}

/// Corrects the checksums of a PNG file's chunks, so that the decoder reads what the fuzzer
/// changed.
void repairChecksums(std::vector<std::uint8_t> &file) {
    std::size_t position = 8;
    while (position + 12 <= file.size()) {
        const std::size_t length = numberAt(file, position);
        if (length > file.size() - position - 12) {
            return;
        }
        const std::size_t end = position + 8 + length;
        const std::uint32_t sum = checksum(std::span(file).subspan(position + 4, length + 4));
        for (std::size_t i = 0; i < 4; ++i) {
            file[end + i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
        }
        position = end + 4;
    }
}

/// Lossless WebP needs no bytes for the pixels of a picture of one colour. Such pictures are valid,
/// but a fuzzer that finds a large one would spend its time on painting it.
bool claimsMuchForLittle(std::span<const std::uint8_t> file) {
    constexpr std::uint32_t kMaxPixels = 1 << 20;
    const std::string_view tag = "VP8L";
    const auto chunk = std::search(file.begin(), file.end(), tag.begin(), tag.end());
    if (file.end() - chunk < 13) {
        return false;
    }
    const std::uint32_t sides =
        std::uint32_t{chunk[12]} << 24 | chunk[11] << 16 | chunk[10] << 8 | chunk[9];
    return ((sides & 0x3fff) + 1) * ((sides >> 14 & 0x3fff) + 1) > kMaxPixels;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (claimsMuchForLittle({data, size})) {
        return 0;
    }
    check({data, size});
    if (size > 8 && data[0] == 0x89) {
        std::vector<std::uint8_t> repaired(data, data + size);
        repairChecksums(repaired);
        check(repaired);
    }
    return 0;
}
