#pragma once

#include "Platform/CoreGraphics/CGPixels.h"

#include <cstdint>
#include <vector>

/// Turned petals over a picture, the same for everyone who draws them. All pixels are
/// premultiplied, 0xAARRGGBB.
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
    const CGPixels &background() const { return _background; }

    /// kPetalSide × kPetalSide; 44 % of the texels show.
    const CGPixels &petalPixels() const { return _petalPixels; }

    const std::vector<Petal> &petals() const { return _petals; }

    /// Moves and turns every petal, so that no picture equals the one before.
    void step();

  private:
    int _width;
    int _height;
    CGPixels _background;
    CGPixels _petalPixels;
    std::vector<Petal> _petals;
};
