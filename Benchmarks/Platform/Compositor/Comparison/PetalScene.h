#pragma once

#include "Platform/CoreGraphics/PixelBuffer.h"

#include <cstdint>
#include <vector>

/// Rotated petals over a picture, the same for all contenders. All pixels are premultiplied,
/// 0xAARRGGBB.
class PetalScene {
  public:
    static constexpr int kPetalSide = 64;

    struct Petal {
        double x; ///< Of the middle, in pixels.
        double y;
        double angle; ///< In radians, clockwise.
        double alpha;
    };

    PetalScene(int width, int height, int count);

    int width() const { return _width; }
    int height() const { return _height; }

    /// Opaque and as large as the screen.
    const PixelBuffer &background() const { return _background; }

    /// The petal's picture, kPetalSide × kPetalSide; 44 % of the texels are visible.
    const PixelBuffer &petalPixels() const { return _petalPixels; }

    const std::vector<Petal> &petals() const { return _petals; }

    /// Moves and rotates every petal, so that no frame equals the one before.
    void step();

  private:
    int _width;
    int _height;
    PixelBuffer _background;
    PixelBuffer _petalPixels;
    std::vector<Petal> _petals;
};
