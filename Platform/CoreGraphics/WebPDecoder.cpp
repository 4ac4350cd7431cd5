#include "Platform/CoreGraphics/PictureBuffer.h"
#include "Platform/CoreGraphics/PictureDecoders.h"

#include <webp/decode.h>

namespace {

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

Retained<CGImage> decodeWebP(std::span<const std::uint8_t> file, std::uint64_t mostPixels) {
    WebPBitstreamFeatures features;
    if (WebPGetFeatures(file.data(), file.size(), &features) != VP8_STATUS_OK ||
        features.has_animation || features.width <= 0 || features.height <= 0) {
        return nullptr;
    }
    PictureBuffer buffer(static_cast<std::uint64_t>(features.width),
                         static_cast<std::uint64_t>(features.height), mostPixels);
    return buffer && readPixels(file, buffer) ? buffer.premultipliedImage() : nullptr;
}
