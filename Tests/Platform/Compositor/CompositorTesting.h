#pragma once

#include "Platform/Compositor/SoftwareCompositor.h"

#include <cstdint>
#include <functional>
#include <random>
#include <vector>

/// Pixels that a test composites into, with guarded padding right of each row.
class Canvas {
  public:
    static constexpr std::uint32_t kGuard = 0x12345678;
    static constexpr std::size_t kPadding = 3;

    Canvas(std::size_t width, std::size_t height, bool isTransparent = false)
        : _width(width), _height(height), _isTransparent(isTransparent),
          _pixels((width + kPadding) * height, kGuard) {}

    /// Draws with a compositor of its own, or the one given.
    Canvas &draw(CALayer &root, CGFloat scale = 1) {
        SoftwareCompositor compositor;
        return draw(compositor, root, scale);
    }
    Canvas &draw(Compositor &compositor, CALayer &root, CGFloat scale = 1) {
        drawOver(0, compositor, root, scale);
        return *this;
    }

    /// Draws over the canvas's contents, which are `age` pictures old; see CompositorTarget::age.
    const std::vector<DeviceRect> &drawOver(unsigned age, Compositor &compositor, CALayer &root,
                                            CGFloat scale = 1) {
        return compositor.composite(
            root, {_pixels.data(), _width, _height, _width + kPadding, age, _isTransparent}, scale);
    }

    std::size_t width() const { return _width; }
    std::size_t height() const { return _height; }

    std::uint32_t at(std::size_t x, std::size_t y) const {
        return _pixels[y * (_width + kPadding) + x];
    }

    bool isGuardIntact() const {
        for (std::size_t i = 0; i < _pixels.size(); ++i) {
            if (i % (_width + kPadding) >= _width && _pixels[i] != kGuard) {
                return false;
            }
        }
        return true;
    }

    /// How many pixels have that value.
    std::size_t count(std::uint32_t pixel) const {
        std::size_t result = 0;
        for (std::size_t i = 0; i < _width * _height; ++i) {
            result += at(i % _width, i / _width) == pixel;
        }
        return result;
    }

    friend bool operator==(const Canvas &, const Canvas &) = default;

  private:
    std::size_t _width;
    std::size_t _height;
    bool _isTransparent;
    std::vector<std::uint32_t> _pixels;
};

/// A layer whose bounds start at 0 and whose frame is the given one.
inline Retained<CALayer> makeLayer(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
    auto layer = makeRetained<CALayer>();
    layer->setBounds(CGRectMake(0, 0, width, height));
    layer->setPosition({x + width / 2, y + height / 2});
    return layer;
}

/// A layer as from makeLayer(), with a background colour.
inline Retained<CALayer> makeFilled(CGFloat x, CGFloat y, CGFloat width, CGFloat height,
                                    CGColor color) {
    auto layer = makeLayer(x, y, width, height);
    layer->setBackgroundColor(color);
    return layer;
}

/// An image whose pixels are the values of a function of x and y.
inline Retained<CGImage> makeImage(NSUInteger width, NSUInteger height,
                                   const std::function<std::uint32_t(NSUInteger, NSUInteger)> &at) {
    PixelBuffer pixels;
    for (NSUInteger i = 0; i < width * height; ++i) {
        pixels.push_back(at(i % width, i / width));
    }
    return CGImage::imageWithPixels(width, height, std::move(pixels));
}

inline std::uint32_t premultiplied(unsigned alpha, unsigned red, unsigned green, unsigned blue) {
    const auto part = [&](unsigned c) { return (c * alpha + 127) / 255; };
    return alpha << 24 | part(red) << 16 | part(green) << 8 | part(blue);
}

/// An image of random texels, alpha included.
inline Retained<CGImage> makeNoise(NSUInteger width, NSUInteger height, unsigned seed) {
    std::mt19937 random(seed);
    return makeImage(width, height, [&](NSUInteger, NSUInteger) {
        const std::uint32_t bits = random();
        return premultiplied(bits >> 24, bits >> 16 & 255, bits >> 8 & 255, bits & 255);
    });
}

inline Retained<CGImage> makeOpaqueNoise(NSUInteger width, NSUInteger height, unsigned seed) {
    std::mt19937 random(seed);
    return makeImage(width, height,
                     [&](NSUInteger, NSUInteger) { return 0xFF000000U | random() >> 8; });
}

inline Retained<CALayer> makePictureLayer(CGFloat x, CGFloat y, const Retained<CGImage> &image) {
    auto layer = makeLayer(x, y, static_cast<CGFloat>(image->width()),
                           static_cast<CGFloat>(image->height()));
    layer->setContents(image);
    return layer;
}

inline constexpr std::uint32_t kBlack = 0xFF000000;
inline constexpr CGColor kRed{1, 0, 0, 1};
inline constexpr CGColor kGreen{0, 1, 0, 1};
inline constexpr CGColor kWhite{1, 1, 1, 1};
