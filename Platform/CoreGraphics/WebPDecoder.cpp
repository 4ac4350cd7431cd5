#include "Platform/CoreGraphics/PictureDecoders.h"

#include <algorithm>
#include <cmath>
#include <webp/decode.h>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr int kLossless = 2;

/// What a product of a side and a factor may be above the whole number that is meant.
constexpr double kRounding = 1e-6;

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

/// Makes the picture smaller when the buffer is.
bool readPixels(std::span<const std::uint8_t> file, const WebPBitstreamFeatures &features,
                PictureBuffer &buffer) {
    WebPDecoderConfig config;
    if (!WebPInitDecoderConfig(&config)) {
        return false;
    }
    config.options.scaled_width = static_cast<int>(buffer.width());
    config.options.scaled_height = static_cast<int>(buffer.height());
    config.options.use_scaling = config.options.scaled_width != features.width ||
                                 config.options.scaled_height != features.height;
    config.output.colorspace = MODE_RGBA;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = buffer.row(0);
    config.output.u.RGBA.stride = static_cast<int>(buffer.bytesPerRow());
    config.output.u.RGBA.size = buffer.size();
    return WebPDecode(file.data(), file.size(), &config) == VP8_STATUS_OK;
}

/// The buffer for the picture at its own size, or at the smallest that does.
PictureBuffer bufferFor(std::uint64_t width, std::uint64_t height, bool areColumns,
                        const PictureRequest &request) {
    double factor = request.factorFor(width, height, areColumns);
    const auto scaled = [&factor](std::uint64_t side) {
        return static_cast<std::uint64_t>(
            std::ceil(static_cast<double>(side) * factor - kRounding));
    };
    while (!CGImage::isSizeSupported(scaled(width), scaled(height))) {
        factor *= 0.99;
    }
    return {scaled(width), scaled(height), request.maxPixels};
}

} // namespace

Retained<CGImage> decodeWebP(std::span<const std::uint8_t> file, const PictureRequest &request) {
    WebPBitstreamFeatures features;
    if (WebPGetFeatures(file.data(), file.size(), &features) != VP8_STATUS_OK ||
        features.has_animation || features.width <= 0 || features.height <= 0) {
        return nullptr;
    }
    const auto width = static_cast<std::uint64_t>(features.width);
    const auto height = static_cast<std::uint64_t>(features.height);
    if (features.format == kLossless ? !CGImage::isSizeSupported(width, height)
                                     : !request.isAcceptable(width, height)) {
        return nullptr;
    }
    const auto orientation = PictureOrientation::inExif(chunkOf(file, "EXIF"));
    PictureBuffer buffer = bufferFor(width, height, orientation.areColumns, request);
    if (!buffer || !readPixels(file, features, buffer)) {
        return nullptr;
    }
    const auto conversion =
        ColorConversion::fromProfile(chunkOf(file, "ICCP"), ColorConversion::Pixels::Colors);
    if (conversion) {
        buffer.convertColors(conversion);
    }
    return buffer.premultipliedImage(orientation);
}
