#include "Host/Rendering/PlanarFrame.h"

#include <algorithm>

namespace Lumivera {

namespace {

/// Fixed-point factors, 65536 is 1.
struct Weights {
    std::int32_t red, green, blue;
};
constexpr Weights kLuma{11966, 40254, 4064};
constexpr Weights kBlueChroma{-6596, -22188, 28784};
constexpr Weights kRedChroma{28784, -26145, -2639};

constexpr int kShift = 16;
constexpr std::int32_t kBlackLuma = 16;
constexpr std::int32_t kNoChroma = 128;

struct Color {
    std::int32_t red, green, blue;
};

Color colorOf(std::uint32_t pixel) {
    return {static_cast<std::int32_t>(pixel >> 16 & 0xff),
            static_cast<std::int32_t>(pixel >> 8 & 0xff), static_cast<std::int32_t>(pixel & 0xff)};
}

Color operator+(const Color &a, const Color &b) {
    return {a.red + b.red, a.green + b.green, a.blue + b.blue};
}

/// A component of a colour, or of the mean of 1 << `log2Count` colours given by their sum.
std::uint8_t weighted(const Color &color, const Weights &weights, std::int32_t zero,
                      int log2Count) {
    const int shift = kShift + log2Count;
    const std::int32_t sum = color.red * weights.red + color.green * weights.green +
                             color.blue * weights.blue + (zero << shift) + (1 << (shift - 1));
    return static_cast<std::uint8_t>(sum >> shift);
}

} // namespace

PlanarFrame::PlanarFrame(std::size_t width, std::size_t height)
    : _width(width), _height(height), _halfWidth((width + 1) / 2), _halfHeight((height + 1) / 2),
      _bytes(_halfWidth * _halfHeight * 6) {}

void PlanarFrame::take(std::span<const std::uint32_t> pixels) {
    for (std::size_t y = 0; y < height(); ++y) {
        takeLuma(pixels.data() + std::min(y, _height - 1) * _width, y);
    }
    for (std::size_t half = 0; half < _halfHeight; ++half) {
        takeChroma(pixels.data() + 2 * half * _width,
                   pixels.data() + std::min(2 * half + 1, _height - 1) * _width, half);
    }
}

void PlanarFrame::takeLuma(const std::uint32_t *row, std::size_t y) {
    std::uint8_t *const luma = _bytes.data() + y * width();
    const std::size_t count = _width;
    for (std::size_t x = 0; x < count; ++x) {
        luma[x] = weighted(colorOf(row[x]), kLuma, kBlackLuma, 0);
    }
    luma[width() - 1] = luma[count - 1];
}

void PlanarFrame::takeChroma(const std::uint32_t *upper, const std::uint32_t *lower,
                             std::size_t half) {
    std::uint8_t *const blue = _bytes.data() + width() * height() + half * _halfWidth;
    std::uint8_t *const red = blue + _halfWidth * _halfHeight;
    const auto sumOf = [=](std::size_t left, std::size_t right) {
        return colorOf(upper[left]) + colorOf(upper[right]) + colorOf(lower[left]) +
               colorOf(lower[right]);
    };
    const std::size_t whole = _width / 2;
    for (std::size_t i = 0; i < whole; ++i) {
        blue[i] = weighted(sumOf(2 * i, 2 * i + 1), kBlueChroma, kNoChroma, 2);
    }
    for (std::size_t i = 0; i < whole; ++i) {
        red[i] = weighted(sumOf(2 * i, 2 * i + 1), kRedChroma, kNoChroma, 2);
    }
    if (whole < _halfWidth) {
        const Color last = sumOf(_width - 1, _width - 1);
        blue[whole] = weighted(last, kBlueChroma, kNoChroma, 2);
        red[whole] = weighted(last, kRedChroma, kNoChroma, 2);
    }
}

} // namespace Lumivera
