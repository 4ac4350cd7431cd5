#include "Platform/CoreGraphics/PictureDecoders.h"

#include <new>

namespace {

Retained<CGImage> decodeKnown(std::span<const std::uint8_t> bytes, const PictureRequest &request) {
    if (holdsAt(bytes, 0, "\x89PNG\r\n\x1a\n")) {
        return decodePNG(bytes, request);
    }
    if (holdsAt(bytes, 0, "\xff\xd8\xff")) {
        return decodeJPEG(bytes, request);
    }
    if (holdsAt(bytes, 0, "RIFF") && holdsAt(bytes, 8, "WEBP")) {
        return decodeWebP(bytes, request);
    }
    return nullptr;
}

Retained<CGImage> decode(std::span<const std::uint8_t> bytes, const PictureRequest &request) {
    try {
        return decodeKnown(bytes, request);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

} // namespace

bool holdsAt(std::span<const std::uint8_t> bytes, std::size_t offset, std::string_view text) {
    const std::string_view all(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    return offset <= all.size() && all.substr(offset).starts_with(text);
}

Retained<CGImage> CGImageCreateWithData(std::span<const std::uint8_t> bytes,
                                        std::uint64_t maxPixels) {
    return decode(bytes, {maxPixels});
}

Retained<CGImage> CGImageCreateReducedWithData(std::span<const std::uint8_t> bytes,
                                               NSUInteger width, NSUInteger height) {
    PictureRequest request;
    request.width = width;
    request.height = height;
    return request.mayReduce() ? decode(bytes, request) : nullptr;
}
