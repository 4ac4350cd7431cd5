#include "Platform/CoreGraphics/ImageOperations.h"

#include <algorithm>
#include <cmath>

namespace {

std::uint8_t component(std::uint32_t pixel, int shift) {
    return static_cast<std::uint8_t>(pixel >> shift);
}

bool isNeutral(std::uint32_t pixel) {
    return component(pixel, 24) == 0xff && component(pixel, 16) == component(pixel, 8) &&
           component(pixel, 8) == component(pixel, 0);
}

bool contains(ComponentRange range, std::uint8_t value) {
    return value >= range.lowest && value <= range.highest;
}

/// One axis of a crop, in whole pixels of the picture; `end` is not included.
struct Extent {
    NSUInteger first = 0;
    NSUInteger end = 0;
};

Extent extentOf(CGFloat start, CGFloat length, NSUInteger limit) {
    if (length < 0) {
        start += length;
        length = -length;
    }
    const auto size = static_cast<CGFloat>(limit);
    if (!(length > 0) || !(start < size) || !(start + length > 0)) {
        return {};
    }
    return {static_cast<NSUInteger>(std::floor(std::max<CGFloat>(start, 0))),
            static_cast<NSUInteger>(std::ceil(std::min<CGFloat>(start + length, size)))};
}

/// Every component times share / 255, rounded.
std::uint32_t faded(std::uint32_t pixel, std::uint32_t share) {
    std::uint32_t result = 0;
    for (const int shift : {24, 16, 8, 0}) {
        result |= premultipliedComponent(component(pixel, shift), share) << shift;
    }
    return result;
}

/// For each pixel along one axis, the index of the stretched mask's sample at its centre.
std::vector<NSUInteger> samplesUnder(NSUInteger pixels, NSUInteger samples) {
    std::vector<NSUInteger> result(pixels);
    for (NSUInteger i = 0; i < pixels; ++i) {
        result[i] = (2 * i + 1) * samples / (2 * pixels);
    }
    return result;
}

} // namespace

Retained<CGImage> CGImageCreateWithImageInRect(const CGImage *image, const CGRect &rect) {
    if (!image) {
        return nullptr;
    }
    const Extent x = extentOf(rect.origin.x, rect.size.width, image->width());
    const Extent y = extentOf(rect.origin.y, rect.size.height, image->height());
    PixelBuffer pixels;
    pixels.reserve((x.end - x.first) * (y.end - y.first));
    for (NSUInteger row = y.first; row < y.end; ++row) {
        const std::uint32_t *from = image->pixels() + row * image->width();
        pixels.insert(pixels.end(), from + x.first, from + x.end);
    }
    return CGImage::imageWithPixels(x.end - x.first, y.end - y.first, std::move(pixels));
}

Retained<CGImage> CGImageCreateWithMaskingColors(const CGImage *image, ComponentRange red,
                                                 ComponentRange green, ComponentRange blue) {
    if (!image || !image->isOpaque()) {
        return nullptr;
    }
    PixelBuffer pixels(image->pixels(), image->pixels() + image->width() * image->height());
    std::replace_if(
        pixels.begin(), pixels.end(),
        [&](std::uint32_t pixel) {
            return contains(red, component(pixel, 16)) && contains(green, component(pixel, 8)) &&
                   contains(blue, component(pixel, 0));
        },
        0u);
    return CGImage::imageWithPixels(image->width(), image->height(), std::move(pixels));
}

Retained<ImageMask> ImageMask::maskCreate(const CGImage *image) {
    if (!image) {
        return nullptr;
    }
    const NSUInteger count = image->width() * image->height();
    const std::uint32_t *pixels = image->pixels();
    if (!std::all_of(pixels, pixels + count, isNeutral)) {
        return nullptr;
    }
    std::vector<std::uint8_t> samples(count);
    std::transform(pixels, pixels + count, samples.begin(),
                   [](std::uint32_t pixel) { return component(pixel, 0); });
    return Retained<ImageMask>::adopt(
        new ImageMask(image->width(), image->height(), std::move(samples)));
}

ImageMask::ImageMask(NSUInteger width, NSUInteger height, std::vector<std::uint8_t> samples)
    : _width(width), _height(height), _samples(std::move(samples)) {}

Retained<CGImage> CGImageCreateWithMask(const CGImage *image, const ImageMask *mask) {
    if (!image || !mask) {
        return nullptr;
    }
    const NSUInteger width = image->width();
    const NSUInteger height = image->height();
    const auto columns = samplesUnder(width, mask->width());
    const auto rows = samplesUnder(height, mask->height());
    PixelBuffer pixels;
    pixels.reserve(width * height);
    const std::uint32_t *from = image->pixels();
    for (const NSUInteger row : rows) {
        for (const NSUInteger column : columns) {
            pixels.push_back(faded(*from++, 255u - mask->sample(column, row)));
        }
    }
    return CGImage::imageWithPixels(width, height, std::move(pixels));
}
