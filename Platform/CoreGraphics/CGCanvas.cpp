#include "Platform/CoreGraphics/CGCanvas.h"

#include <algorithm>
#include <bit>
#include <new>

namespace {

/// A pixel's four components side by side, as the processor computes with them. Every formula is
/// the same for the colours and for alpha, which takes the place of a colour as large as itself.
using Lanes = float __attribute__((vector_size(16)));
using Wholes = std::int32_t __attribute__((vector_size(16)));
using Components = std::uint16_t __attribute__((vector_size(8)));

static_assert(std::endian::native == std::endian::little, "alpha is the last lane");

constexpr float kLargest = 65535.0f;
constexpr std::uint64_t kOpaqueBlack = std::uint64_t{0xffff} << 48;

Lanes alphaOf(Lanes pixel) { return __builtin_shufflevector(pixel, pixel, 3, 3, 3, 3); }

/// From 0 to 1. Each byte stays at its place in the word, and the scale brings it down; alpha goes
/// one place lower, for it must not become a sign.
Lanes lanesOf(std::uint32_t pixel) {
    constexpr Wholes kColors = {0xff, 0xff00, 0xff0000, 0};
    constexpr Wholes kAlpha = {0, 0, 0, 0x7f800000};
    constexpr Lanes kScale = {1.0f / 255, 1.0f / (255 << 8), 1.0f / (255 << 16),
                              1.0f / 255 / (1 << 23)};
    const auto word = static_cast<std::int32_t>(pixel);
    const Wholes words = {word, word, word, word};
    return __builtin_convertvector((words & kColors) | (words >> 1 & kAlpha), Lanes) * kScale;
}

Lanes lanesOf(std::uint64_t pixel) {
    return __builtin_convertvector(std::bit_cast<Components>(pixel), Lanes) * (1 / kLargest);
}

/// No colour exceeds its alpha, whatever the rounding.
std::uint64_t pixelOf(Lanes pixel) {
    const Lanes alpha = alphaOf(pixel);
    const Lanes scaled = (pixel < alpha ? pixel : alpha) * kLargest + 0.5f;
    const Wholes wholes = __builtin_convertvector(scaled, Wholes);
    return std::bit_cast<std::uint64_t>(__builtin_convertvector(wholes, Components));
}

// s and d are source and destination, sa and da their alphas.

struct Normal {
    static Lanes mix(Lanes s, Lanes sa, Lanes d, Lanes) { return s + d * (1 - sa); }
};

struct Multiply {
    static Lanes mix(Lanes s, Lanes sa, Lanes d, Lanes da) {
        return s * (1 - da) + d * (1 - sa) + s * d;
    }
};

/// Dark backdrops are multiplied, light ones screened: the backdrop chooses.
struct Overlay {
    static Lanes mix(Lanes s, Lanes sa, Lanes d, Lanes da) {
        const Lanes outside = s * (1 - da) + d * (1 - sa);
        const Lanes dark = 2 * s * d;
        const Lanes light = sa * da - 2 * (da - d) * (sa - s);
        return outside + (2 * d <= da ? dark : light);
    }
};

template <class Mode> std::uint64_t blended(Lanes source, std::uint64_t pixel) {
    const Lanes backdrop = lanesOf(pixel);
    return pixelOf(Mode::mix(source, alphaOf(source), backdrop, alphaOf(backdrop)));
}

/// `sourceAt` gives the source of each pixel of the row.
template <class Mode, class SourceAt>
void blendAll(std::uint64_t *row, std::size_t count, std::span<const std::uint8_t> coverage,
              SourceAt sourceAt) {
    if (coverage.empty()) {
        for (std::size_t i = 0; i < count; ++i) {
            row[i] = blended<Mode>(sourceAt(i), row[i]);
        }
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const float share = static_cast<float>(coverage[i]) * (1.0f / 255);
        row[i] = blended<Mode>(sourceAt(i) * share, row[i]);
    }
}

template <class SourceAt>
void blend(CGBlendMode mode, std::uint64_t *row, std::size_t count,
           std::span<const std::uint8_t> coverage, SourceAt sourceAt) {
    switch (mode) {
    case CGBlendMode::Normal:
        return blendAll<Normal>(row, count, coverage, sourceAt);
    case CGBlendMode::Multiply:
        return blendAll<Multiply>(row, count, coverage, sourceAt);
    case CGBlendMode::Overlay:
        return blendAll<Overlay>(row, count, coverage, sourceAt);
    }
}

/// From 0 to 1; NaN counts as 0.
float fraction(CGFloat value) { return value >= 1 ? 1 : value > 0 ? static_cast<float>(value) : 0; }

Lanes lanesOf(const CGColor &color) {
    const float alpha = fraction(color.alpha);
    return Lanes{fraction(color.blue), fraction(color.green), fraction(color.red), 1} * alpha;
}

/// All four components at once, each divided by 257 to the nearest.
std::uint32_t narrowed(std::uint64_t pixel) {
    constexpr std::uint64_t kBytes = 0x00ff00ff00ff00ff;
    constexpr std::uint64_t kHalves = 0x0080008000800080;
    pixel = (pixel - (pixel >> 8 & kBytes) + kHalves) >> 8 & kBytes;
    pixel = (pixel | pixel >> 8) & 0x0000ffff0000ffff;
    return static_cast<std::uint32_t>(pixel | pixel >> 16);
}

std::uint8_t greyOf(std::uint64_t pixel) {
    // Of 65536, so that the sum of the weighted components fits 32 bits.
    constexpr std::uint32_t kRed = 13933, kGreen = 46871, kBlue = 4732;
    const auto component = [pixel](int shift) {
        return static_cast<std::uint32_t>(pixel >> shift & 0xffff);
    };
    const std::uint32_t grey = component(32) * kRed + component(16) * kGreen + component(0) * kBlue;
    constexpr std::uint32_t kDivisor = 257 << 8;
    return static_cast<std::uint8_t>(((grey >> 8) + kDivisor / 2) / kDivisor);
}

} // namespace

CGCanvas::CGCanvas(std::size_t width, std::size_t height)
    : _width(width), _height(height),
      _pixels(static_cast<std::uint64_t *>(std::calloc(width * height, sizeof(std::uint64_t)))) {
    if (!_pixels) {
        throw std::bad_alloc();
    }
}

void CGCanvas::fillBlack() { std::fill_n(_pixels.get(), _width * _height, kOpaqueBlack); }

void CGCanvas::blendRow(CGBlendMode mode, std::size_t x, std::size_t y,
                        std::span<const std::uint32_t> pixels,
                        std::span<const std::uint8_t> coverage) {
    blend(mode, at(x, y), pixels.size(), coverage,
          [pixels](std::size_t i) { return lanesOf(pixels[i]); });
}

void CGCanvas::fillRow(CGBlendMode mode, std::size_t x, std::size_t y, std::size_t count,
                       const CGColor &color, std::span<const std::uint8_t> coverage) {
    const Lanes source = lanesOf(color);
    blend(mode, at(x, y), count, coverage, [source](std::size_t) { return source; });
}

std::vector<std::uint32_t> CGCanvas::pixels() const {
    std::vector<std::uint32_t> result(_width * _height);
    std::transform(_pixels.get(), _pixels.get() + result.size(), result.begin(), narrowed);
    return result;
}

std::vector<std::uint8_t> CGCanvas::greySamples() const {
    std::vector<std::uint8_t> result(_width * _height);
    std::transform(_pixels.get(), _pixels.get() + result.size(), result.begin(), greyOf);
    return result;
}
