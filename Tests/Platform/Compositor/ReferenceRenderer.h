#pragma once

#include "Platform/QuartzCore/CALayer.h"

#include <array>
#include <vector>

/// Computes the picture of a layer tree by the formulas alone, in double precision and pixel by
/// pixel. It uses nothing of the compositor, and knows affine transforms only.
class ReferenceRenderer {
  public:
    /// Blue, green, red, alpha; premultiplied, 0 to 255.
    using Pixel = std::array<double, 4>;
    using Pixels = std::vector<Pixel>;

    ReferenceRenderer(int width, int height, double scale);

    /// Draws the tree over a picture of that colour.
    Pixels render(const CALayer &root, const Pixel &ground = {0, 0, 0, 255});

  private:
    struct Map;
    struct Box;

    void drawLayer(const CALayer &layer, const Map &map, Pixels &target) const;
    void drawInside(const CALayer &layer, const Map &map, Pixels &target) const;
    void drawFill(const CALayer &layer, const Map &map, Pixels &target) const;
    void drawContents(const CALayer &layer, const Map &map, Pixels &target) const;
    template <class Colour> void drawBox(const Box &box, Pixels &target, const Colour &at) const;
    void blendGroup(const Pixels &group, double opacity, Pixels &target) const;

    int _width;
    int _height;
    double _scale;
};
