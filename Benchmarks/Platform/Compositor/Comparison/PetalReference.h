#pragma once

#include "Benchmarks/Platform/Compositor/Comparison/PetalScene.h"

/// Draws a scene by the formulas: bilinear samples of premultiplied texels, nothing beyond the
/// petal's edge, source over destination, in double precision.
class PetalReference {
  public:
    explicit PetalReference(const PetalScene &scene);

    /// Levels of 255.
    struct Difference {
        double largest = 0;
        double mean = 0;
    };

    /// The difference of a picture's colours from the reference, which is rounded to whole levels.
    /// The pixels are row by row, 0xXXRRGGBB.
    Difference differenceOf(const PixelBuffer &pixels) const;

  private:
    void draw(const PetalScene &scene, const PetalScene::Petal &petal);

    // Three channels a pixel, the lowest byte's first.
    std::vector<double> _channels;
};
