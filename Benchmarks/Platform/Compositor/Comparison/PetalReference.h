#pragma once

#include "Benchmarks/Platform/Compositor/Comparison/PetalScene.h"

/// Draws a scene by the formulas in double precision: bilinear samples of premultiplied texels,
/// transparent outside of the petal, source over destination.
class PetalReference {
  public:
    explicit PetalReference(const PetalScene &scene);

    /// Levels of 255.
    struct Difference {
        double largest = 0;
        double mean = 0;
    };

    /// The difference of a picture's colours from the reference, rounded to whole levels; pixels
    /// row by row, 0xXXRRGGBB.
    Difference differenceOf(const CGPixels &pixels) const;

  private:
    void draw(const PetalScene &scene, const PetalScene::Petal &petal);

    // Three channels a pixel, the lowest byte's first.
    std::vector<double> _channels;
};
