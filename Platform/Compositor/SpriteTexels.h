#pragma once

#include "Platform/Compositor/PixelKernels.h"
#include "Platform/Compositor/SpriteOutline.h"

/// A picture as sprites are drawn from: its outline, and, unless it is large, its texels in an
/// order in which one load fetches the four around a pixel.
class SpriteTexels {
  public:
    SpriteTexels() = default;
    SpriteTexels(SpriteTexels &&) = default;
    SpriteTexels &operator=(SpriteTexels &&) = default;

    /// The picture's pixels must outlive this if needsPixels().
    explicit SpriteTexels(const Picture &picture);

    /// Of a picture that large, no second form is made.
    bool needsPixels() const { return _pairs.empty(); }

    int width() const { return _width; }
    int height() const { return _height; }
    const SpriteOutline &outline() const { return _outline; }

    /// Has the processor fetch the texels into its cache, unless they are too many for it. Rows of
    /// a turned sprite run across them in a way that it does not foresee.
    void fetch() const;

    /// Valid while this is neither changed nor destroyed.
    const SpriteSource &source() const { return _source; }

  private:
    void preparePairs(const Picture &picture);

    int _width = 0;
    int _height = 0;
    SpriteOutline _outline;
    SpriteSource _source;
    std::vector<std::uint8_t> _pairs;
};
