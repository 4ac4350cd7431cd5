#include "Tests/Animation/Support/Pictures.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kMaxStoredBlockBytes = 65535;

std::string bigEndian(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
            static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::uint32_t cyclicChecksum(std::string_view bytes) {
    std::uint32_t sum = 0xffffffff;
    for (const char byte : bytes) {
        sum ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            sum = sum >> 1 ^ (sum & 1 ? 0xedb88320 : 0);
        }
    }
    return ~sum;
}

std::uint32_t adlerChecksum(std::string_view bytes) {
    std::uint32_t low = 1;
    std::uint32_t high = 0;
    for (const char byte : bytes) {
        low = (low + static_cast<std::uint8_t>(byte)) % 65521;
        high = (high + low) % 65521;
    }
    return high << 16 | low;
}

std::string chunk(const std::string &type, const std::string &data) {
    return bigEndian(static_cast<std::uint32_t>(data.size())) + type + data +
           bigEndian(cyclicChecksum(type + data));
}

/// A zlib stream of stored blocks, without compression.
std::string stored(const std::string &bytes) {
    std::string stream = "\x78\x01";
    for (std::size_t start = 0; start < bytes.size(); start += kMaxStoredBlockBytes) {
        const std::size_t size = std::min(kMaxStoredBlockBytes, bytes.size() - start);
        const auto length = static_cast<std::uint16_t>(size);
        const auto inverse = static_cast<std::uint16_t>(~length);
        stream += static_cast<char>(start + size == bytes.size() ? 1 : 0);
        stream += {static_cast<char>(length), static_cast<char>(length >> 8),
                   static_cast<char>(inverse), static_cast<char>(inverse >> 8)};
        stream.append(bytes, start, size);
    }
    return stream + bigEndian(adlerChecksum(bytes));
}

} // namespace

Retained<UIImage> pictureOfSize(unsigned width, unsigned height, std::uint32_t color) {
    PixelBuffer pixels(std::size_t{width} * height, color);
    return UIImage::imageWithCGImage_scale_orientation(
        CGImage::imageWithPixels(width, height, std::move(pixels)), 1, UIImageOrientation::Up);
}

std::string pngOfSize(unsigned width, unsigned height, std::uint32_t color) {
    const std::string pixel{static_cast<char>(color >> 16), static_cast<char>(color >> 8),
                            static_cast<char>(color), static_cast<char>(color >> 24)};
    std::string rows;
    for (unsigned y = 0; y < height; ++y) {
        rows += '\0';
        for (unsigned x = 0; x < width; ++x) {
            rows += pixel;
        }
    }
    const std::string eightBitsOfRGBA("\x08\x06\x00\x00\x00", 5);
    return "\x89PNG\r\n\x1a\n" +
           chunk("IHDR", bigEndian(width) + bigEndian(height) + eightBitsOfRGBA) +
           chunk("IDAT", stored(rows)) + chunk("IEND", "");
}
