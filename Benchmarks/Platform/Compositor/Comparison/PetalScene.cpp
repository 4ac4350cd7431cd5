#include "Benchmarks/Platform/Compositor/Comparison/PetalScene.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace {

/// An ellipse with soft edges.
PixelBuffer makePetal() {
    PixelBuffer pixels;
    for (int i = 0; i < PetalScene::kPetalSide * PetalScene::kPetalSide; ++i) {
        const double x = (i % PetalScene::kPetalSide + 0.5 - 32) / 28;
        const double y = (i / PetalScene::kPetalSide + 0.5 - 32) / 20.5;
        const double edge = (1 - std::sqrt(x * x + y * y)) * 10;
        const auto alpha = static_cast<std::uint32_t>(std::clamp(edge, 0.0, 1.0) * 230);
        pixels.push_back(alpha << 24 | alpha << 16 | alpha * 3 / 4 << 8 | alpha * 4 / 5);
    }
    return pixels;
}

PixelBuffer makeBackground(int width, int height) {
    PixelBuffer pixels;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto red = static_cast<std::uint32_t>(x * 255 / width);
            const auto green = static_cast<std::uint32_t>(y * 255 / height);
            const auto blue = static_cast<std::uint32_t>(x ^ y) % 256;
            pixels.push_back(0xFF000000U | red << 16 | green << 8 | blue);
        }
    }
    return pixels;
}

} // namespace

PetalScene::PetalScene(int width, int height, int count)
    : _width(width), _height(height), _background(makeBackground(width, height)),
      _petalPixels(makePetal()) {
    std::mt19937 random(1);
    const auto fraction = [&] { return static_cast<double>(random() % 4096) / 4096; };
    for (int i = 0; i < count; ++i) {
        const double x = fraction() * width;
        const double y = fraction() * height;
        const double angle = fraction() * 6;
        _petals.push_back({x, y, angle, 0.5 + fraction() / 2});
    }
}

void PetalScene::step() {
    for (Petal &petal : _petals) {
        petal.y = petal.y > _height + kPetalSide / 2.0 ? -kPetalSide / 2.0 : petal.y + 1.3;
        petal.angle += 0.01;
    }
}
