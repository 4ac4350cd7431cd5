#include "Platform/CoreGraphics/PictureDecoders.h"

#include <algorithm>
#include <webp/decode.h>

namespace {

using Bytes = std::span<const std::uint8_t>;

/// The contents of the first chunk with that name; empty when there is none.
Bytes chunkOf(Bytes file, std::string_view name) {
    constexpr std::size_t kFileHead = 12, kChunkHead = 8;
    Bytes left = file.subspan(std::min(file.size(), kFileHead));
    while (left.size() >= kChunkHead) {
        const std::size_t size =
            left[4] | left[5] << 8 | left[6] << 16 | static_cast<std::size_t>(left[7]) << 24;
        const bool isFound = holdsAt(left, 0, name);
        left = left.subspan(kChunkHead);
        if (size > left.size() || isFound) {
            return size > left.size() ? Bytes() : left.first(size);
        }
        left = left.subspan(std::min(left.size(), size + size % 2));
    }
    return {};
}

bool readPixels(std::span<const std::uint8_t> file, PictureBuffer &buffer) {
    WebPDecoderConfig config;
    if (!WebPInitDecoderConfig(&config)) {
        return false;
    }
    config.output.colorspace = MODE_RGBA;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = buffer.row(0);
    config.output.u.RGBA.stride = static_cast<int>(buffer.bytesPerRow());
    config.output.u.RGBA.size = buffer.size();
    return WebPDecode(file.data(), file.size(), &config) == VP8_STATUS_OK;
}

} // namespace

Retained<CGImage> decodeWebP(std::span<const std::uint8_t> file, std::uint64_t maxPixels) {
    WebPBitstreamFeatures features;
    if (WebPGetFeatures(file.data(), file.size(), &features) != VP8_STATUS_OK ||
        features.has_animation || features.width <= 0 || features.height <= 0) {
        return nullptr;
    }
    PictureBuffer buffer(static_cast<std::uint64_t>(features.width),
                         static_cast<std::uint64_t>(features.height), maxPixels);
    if (!buffer || !readPixels(file, buffer)) {
        return nullptr;
    }
    const auto conversion =
        ColorConversion::fromProfile(chunkOf(file, "ICCP"), ColorConversion::Pixels::Colors);
    if (conversion) {
        buffer.convertColors(conversion);
    }
    return buffer.premultipliedImage(PictureOrientation::inExif(chunkOf(file, "EXIF")));
}
