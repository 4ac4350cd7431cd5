#include "Platform/CoreGraphics/PictureDecoders.h"

#include <new>

namespace {

Retained<CGImage> decode(std::span<const std::uint8_t> bytes, std::uint64_t maxPixels) {
    if (holdsAt(bytes, 0, "\x89PNG\r\n\x1a\n")) {
        return decodePNG(bytes, maxPixels);
    }
    if (holdsAt(bytes, 0, "\xff\xd8\xff")) {
        return decodeJPEG(bytes, maxPixels);
    }
    if (holdsAt(bytes, 0, "RIFF") && holdsAt(bytes, 8, "WEBP")) {
        return decodeWebP(bytes, maxPixels);
    }
    return nullptr;
}

} // namespace

bool holdsAt(std::span<const std::uint8_t> bytes, std::size_t offset, std::string_view text) {
    const std::string_view all(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    return offset <= all.size() && all.substr(offset).starts_with(text);
}

Retained<CGImage> CGImageCreateWithData(std::span<const std::uint8_t> bytes,
                                        std::uint64_t maxPixels) {
    try {
        return decode(bytes, maxPixels);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}
