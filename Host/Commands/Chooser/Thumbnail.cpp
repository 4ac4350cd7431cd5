#include "Host/Commands/Chooser/Thumbnail.h"

#include "Platform/CoreGraphics/CGContext.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

constexpr std::uint32_t kAll = 256;

std::uint32_t byteOf(CGFloat component, int shift) {
    return static_cast<std::uint32_t>(std::lround(component * 255)) << shift;
}

/// Blends two pixels, two components at a time.
std::uint32_t mixed(std::uint32_t first, std::uint32_t second, std::uint32_t part) {
    constexpr std::uint32_t kMask = 0x00ff00ff;
    const std::uint32_t outer = (first >> 8 & kMask) * part + (second >> 8 & kMask) * (kAll - part);
    const std::uint32_t inner = (first & kMask) * part + (second & kMask) * (kAll - part);
    return (outer & ~kMask) | (inner >> 8 & kMask);
}

constexpr const char *kPictures[] = {"/lumivera_background_.png", "/lumivera_background_@2x.png",
                                     "/lumivera_background_@3x.png", "/thumbnail@2x.png",
                                     "/thumbnail.png"};

Retained<CGImage> decode(const std::string &path) {
    const auto bytes = readFile(path, Thumbnail::kMaxBytes);
    return bytes ? CGImageCreateWithData(*bytes, Thumbnail::kMaxPixels) : nullptr;
}

/// The background picture of the lowest density that can be decoded. A wallpaper with code of its
/// own may name its background as it likes, so its thumbnail is shown.
Retained<CGImage> background(const std::string &bundlePath) {
    for (const char *name : kPictures) {
        if (auto image = decode(bundlePath + name)) {
            return image;
        }
    }
    return nullptr;
}

void clipRound(CGContext &context, CGSize size, CGFloat radius) {
    const CGFloat round = std::min({radius, size.width / 2, size.height / 2});
    context.beginPath();
    context.moveToPoint(size.width / 2, 0);
    context.addArcToPoint(size.width, 0, size.width, size.height, round);
    context.addArcToPoint(size.width, size.height, 0, size.height, round);
    context.addArcToPoint(0, size.height, 0, 0, round);
    context.addArcToPoint(0, 0, size.width, 0, round);
    context.closePath();
    context.clip();
}

/// The image's frame, scaled and centred so that it just covers the size.
CGRect covering(CGSize size, const CGImage &image) {
    const auto width = static_cast<CGFloat>(image.width());
    const auto height = static_cast<CGFloat>(image.height());
    const CGFloat scale = std::max(size.width / width, size.height / height);
    return {{(size.width - width * scale) / 2, (size.height - height * scale) / 2},
            {width * scale, height * scale}};
}

} // namespace

RoundCorners::RoundCorners(double radius, const CGColor &background)
    : _side(static_cast<std::size_t>(std::ceil(std::max(radius, 0.0)))),
      _background(0xff000000 | byteOf(background.red, 16) | byteOf(background.green, 8) |
                  byteOf(background.blue, 0)) {
    for (std::size_t y = 0; y < _side; ++y) {
        for (std::size_t x = 0; x < _side; ++x) {
            const double distance = std::hypot(radius - static_cast<double>(x) - 0.5,
                                               radius - static_cast<double>(y) - 0.5);
            const double kept = std::clamp(radius - distance + 0.5, 0.0, 1.0);
            _kept.push_back(static_cast<std::uint32_t>(std::lround(kept * kAll)));
        }
    }
}

void RoundCorners::cut(std::uint32_t *pixels, std::size_t width, std::size_t height) const {
    if (width < 2 * _side || height < 2 * _side) {
        return;
    }
    for (std::size_t y = 0; y < _side; ++y) {
        std::uint32_t *const top = pixels + y * width;
        std::uint32_t *const bottom = pixels + (height - 1 - y) * width;
        for (std::size_t x = 0; x < _side; ++x) {
            const std::uint32_t kept = _kept[y * _side + x];
            for (std::uint32_t *row : {top, bottom}) {
                row[x] = mixed(row[x], _background, kept);
                row[width - 1 - x] = mixed(row[width - 1 - x], _background, kept);
            }
        }
    }
}

Retained<CGImage> Thumbnail::read(const std::string &bundlePath, CGSize size, CGFloat density,
                                  CGFloat radius) {
    const CGSize pixels{std::round(size.width * density), std::round(size.height * density)};
    if (!(pixels.width >= 1) || !(pixels.height >= 1)) {
        return nullptr;
    }
    const auto context = CGContext::bitmapContextCreate(static_cast<NSUInteger>(pixels.width),
                                                        static_cast<NSUInteger>(pixels.height),
                                                        BitmapFormat::AlphaFirstPremultiplied);
    const auto image = context ? background(bundlePath) : nullptr;
    if (!image) {
        return nullptr;
    }
    clipRound(*context, pixels, radius * density);
    context->drawImage(covering(pixels, *image), image.get());
    return context->createImage();
}

} // namespace Lumivera
