#include "Platform/CoreGraphics/CGCanvas.h"

#include <algorithm>

namespace {

constexpr float kLargest = 65535.0f;

/// A premultiplied colour from 0 to 1.
struct Source {
    float red, green, blue, alpha;
};

Source sourceOf(std::uint32_t pixel, float coverage) {
    const float unit = coverage / 255.0f;
    return {static_cast<float>(pixel >> 16 & 0xff) * unit,
            static_cast<float>(pixel >> 8 & 0xff) * unit, static_cast<float>(pixel & 0xff) * unit,
            static_cast<float>(pixel >> 24) * unit};
}

Source faded(const Source &s, float coverage) {
    return {s.red * coverage, s.green * coverage, s.blue * coverage, s.alpha * coverage};
}

struct Normal {
    static float mix(float s, float sa, float d, float) { return s + d * (1 - sa); }
};

struct Multiply {
    static float mix(float s, float sa, float d, float da) {
        return s * (1 - da) + d * (1 - sa) + s * d;
    }
};

/// Dark backdrops are multiplied, light ones screened: the backdrop chooses.
struct Overlay {
    static float mix(float s, float sa, float d, float da) {
        const float outside = s * (1 - da) + d * (1 - sa);
        const float dark = 2 * s * d;
        const float light = sa * da - 2 * (da - d) * (sa - s);
        return outside + (2 * d <= da ? dark : light);
    }
};

std::uint16_t component(float value) {
    return static_cast<std::uint16_t>(std::clamp(value, 0.0f, 1.0f) * kLargest + 0.5f);
}

template <class Mode> void blendPixel(std::uint16_t *pixel, const Source &s) {
    const float unit = 1.0f / kLargest;
    const float red = static_cast<float>(pixel[0]) * unit;
    const float green = static_cast<float>(pixel[1]) * unit;
    const float blue = static_cast<float>(pixel[2]) * unit;
    const float alpha = static_cast<float>(pixel[3]) * unit;
    pixel[0] = component(Mode::mix(s.red, s.alpha, red, alpha));
    pixel[1] = component(Mode::mix(s.green, s.alpha, green, alpha));
    pixel[2] = component(Mode::mix(s.blue, s.alpha, blue, alpha));
    pixel[3] = component(s.alpha + alpha * (1 - s.alpha));
}

template <class Mode>
void blend(std::uint16_t *row, std::span<const std::uint32_t> pixels,
           std::span<const std::uint8_t> coverage) {
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const float covered = coverage.empty() ? 1.0f : static_cast<float>(coverage[i]) / 255.0f;
        blendPixel<Mode>(row + i * 4, sourceOf(pixels[i], covered));
    }
}

template <class Mode>
void fill(std::uint16_t *row, std::size_t count, const Source &source,
          std::span<const std::uint8_t> coverage) {
    for (std::size_t i = 0; i < count; ++i) {
        const float covered = coverage.empty() ? 1.0f : static_cast<float>(coverage[i]) / 255.0f;
        blendPixel<Mode>(row + i * 4, faded(source, covered));
    }
}

std::uint32_t narrowed(std::uint16_t value) { return (value * 255u + 32767u) / 65535u; }

} // namespace

CGCanvas::CGCanvas(std::size_t width, std::size_t height)
    : _width(width), _height(height), _components(width * height * 4) {}

void CGCanvas::fillBlack() {
    for (std::size_t i = 0; i < _components.size(); ++i) {
        _components[i] = i % 4 == 3 ? 0xffff : 0;
    }
}

void CGCanvas::blendRow(CGBlendMode mode, std::size_t x, std::size_t y,
                        std::span<const std::uint32_t> pixels,
                        std::span<const std::uint8_t> coverage) {
    std::uint16_t *first = row(y) + x * 4;
    switch (mode) {
    case CGBlendMode::Normal:
        return blend<Normal>(first, pixels, coverage);
    case CGBlendMode::Multiply:
        return blend<Multiply>(first, pixels, coverage);
    case CGBlendMode::Overlay:
        return blend<Overlay>(first, pixels, coverage);
    }
}

void CGCanvas::fillRow(CGBlendMode mode, std::size_t x, std::size_t y, std::size_t count,
                       const CGColor &color, std::span<const std::uint8_t> coverage) {
    const auto alpha = static_cast<float>(color.alpha);
    const Source source{static_cast<float>(color.red) * alpha,
                        static_cast<float>(color.green) * alpha,
                        static_cast<float>(color.blue) * alpha, alpha};
    std::uint16_t *first = row(y) + x * 4;
    switch (mode) {
    case CGBlendMode::Normal:
        return fill<Normal>(first, count, source, coverage);
    case CGBlendMode::Multiply:
        return fill<Multiply>(first, count, source, coverage);
    case CGBlendMode::Overlay:
        return fill<Overlay>(first, count, source, coverage);
    }
}

std::vector<std::uint32_t> CGCanvas::pixels() const {
    std::vector<std::uint32_t> result(_width * _height);
    for (std::size_t i = 0; i < result.size(); ++i) {
        const std::uint16_t *from = _components.data() + i * 4;
        result[i] = narrowed(from[3]) << 24 | narrowed(from[0]) << 16 | narrowed(from[1]) << 8 |
                    narrowed(from[2]);
    }
    return result;
}

std::vector<std::uint8_t> CGCanvas::greySamples() const {
    std::vector<std::uint8_t> result(_width * _height);
    for (std::size_t i = 0; i < result.size(); ++i) {
        const std::uint16_t *from = _components.data() + i * 4;
        const std::uint64_t grey = std::uint64_t{from[0]} * 2126 + std::uint64_t{from[1]} * 7152 +
                                   std::uint64_t{from[2]} * 722;
        result[i] = static_cast<std::uint8_t>((grey * 255 + 327675000) / 655350000);
    }
    return result;
}
