#include "Host/Commands/Chooser/Thumbnail.h"

#include "Platform/CoreGraphics/CGContext.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

constexpr const char *kBackground = "/lumivera_background_";

Retained<CGImage> decode(const std::string &path) {
    const auto bytes = readFile(path, Thumbnail::kMostBytes);
    return bytes ? CGImageCreateWithData(*bytes, Thumbnail::kMostPixels) : nullptr;
}

/// The smallest of its versions that can be read.
Retained<CGImage> background(const std::string &bundlePath) {
    for (const char *ending : {".png", "@2x.png", "@3x.png"}) {
        if (auto image = decode(bundlePath + kBackground + ending)) {
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

/// As small as covers the size, in the middle.
CGRect covering(CGSize size, const CGImage &image) {
    const auto width = static_cast<CGFloat>(image.width());
    const auto height = static_cast<CGFloat>(image.height());
    const CGFloat scale = std::max(size.width / width, size.height / height);
    return {{(size.width - width * scale) / 2, (size.height - height * scale) / 2},
            {width * scale, height * scale}};
}

} // namespace

Retained<CGImage> Thumbnail::read(const std::string &bundlePath, CGSize size, CGFloat density,
                                  CGFloat radius) {
    const CGSize pixels{std::round(size.width * density), std::round(size.height * density)};
    if (!(pixels.width >= 1) || !(pixels.height >= 1)) {
        return nullptr;
    }
    const auto context = CGContext::bitmapContextCreate(static_cast<NSUInteger>(pixels.width),
                                                        static_cast<NSUInteger>(pixels.height),
                                                        CGBitmapFormat::AlphaFirstPremultiplied);
    const auto image = context ? background(bundlePath) : nullptr;
    if (!image) {
        return nullptr;
    }
    clipRound(*context, pixels, radius * density);
    context->drawImage(covering(pixels, *image), image.get());
    return context->createImage();
}

} // namespace Lumivera
