#include "Benchmarks/Platform/Compositor/Comparison/PetalReference.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr int kSide = PetalScene::kPetalSide;

/// Pixels. The largest distance from a petal's middle of a pixel that may show its texels.
constexpr int kReach = kSide * 3 / 4;

using Color = std::array<double, 4>;

Color texel(const PetalScene &scene, int x, int y) {
    if (x < 0 || y < 0 || x >= kSide || y >= kSide) {
        return {};
    }
    const std::uint32_t pixel = scene.petalPixels()[static_cast<std::size_t>(y * kSide + x)];
    return {double(pixel & 255), double(pixel >> 8 & 255), double(pixel >> 16 & 255),
            double(pixel >> 24)};
}

Color mixed(const Color &first, const Color &second, double part) {
    Color result;
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = first[i] * (1 - part) + second[i] * part;
    }
    return result;
}

Color sample(const PetalScene &scene, double u, double v) {
    const int x = static_cast<int>(std::floor(u));
    const int y = static_cast<int>(std::floor(v));
    return mixed(mixed(texel(scene, x, y), texel(scene, x + 1, y), u - x),
                 mixed(texel(scene, x, y + 1), texel(scene, x + 1, y + 1), u - x), v - y);
}

} // namespace

PetalReference::PetalReference(const PetalScene &scene) {
    for (const std::uint32_t pixel : scene.background()) {
        for (int channel = 0; channel < 3; ++channel) {
            _channels.push_back(pixel >> 8 * channel & 255);
        }
    }
    for (const PetalScene::Petal &petal : scene.petals()) {
        draw(scene, petal);
    }
}

void PetalReference::draw(const PetalScene &scene, const PetalScene::Petal &petal) {
    const double cosine = std::cos(petal.angle);
    const double sine = std::sin(petal.angle);
    const int column = static_cast<int>(petal.x);
    const int row = static_cast<int>(petal.y);
    for (int y = std::max(0, row - kReach); y < std::min(scene.height(), row + kReach); ++y) {
        for (int x = std::max(0, column - kReach); x < std::min(scene.width(), column + kReach);
             ++x) {
            const double dx = x + 0.5 - petal.x;
            const double dy = y + 0.5 - petal.y;
            const Color color = sample(scene, cosine * dx + sine * dy + (kSide - 1) / 2.0,
                                       cosine * dy - sine * dx + (kSide - 1) / 2.0);
            double *const below = &_channels[3 * std::size_t(y * scene.width() + x)];
            for (std::size_t i = 0; i < 3; ++i) {
                below[i] = below[i] * (1 - color[3] * petal.alpha / 255) + color[i] * petal.alpha;
            }
        }
    }
}

PetalReference::Difference PetalReference::differenceOf(const PixelBuffer &pixels) const {
    Difference result;
    for (std::size_t i = 0; i < _channels.size(); ++i) {
        const double actual = pixels[i / 3] >> 8 * (i % 3) & 255;
        const double difference = std::abs(actual - std::round(_channels[i]));
        result.largest = std::max(result.largest, difference);
        result.mean += difference / static_cast<double>(_channels.size());
    }
    return result;
}
