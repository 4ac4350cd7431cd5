#pragma once

#include "Platform/CoreGraphics/BitmapCanvas.h"

#include <span>

/// A row of a canvas while it is computed, in premultiplied colours in floating point. Each pixel
/// is one vector of four components. The blend formulas are the same for all of them: for alpha
/// they treat it as a colour that is equal to its alpha.
class CanvasRow {
  public:
    explicit CanvasRow(std::size_t width);

    /// Makes every pixel transparent, or opaque black.
    void clear(bool isBlack);

    /// Takes row y of a picture that covers the whole row, blended over black if `isOverBlack`.
    void begin(const PlacedPicture &picture, std::size_t y, bool isOverBlack);

    /// Converts every pixel from and to 4 components of 16 bits, rounded.
    void load(const std::uint16_t *components);
    void store(std::uint16_t *components) const;

    /// Blends row y of a stroke over the row.
    void paint(const CanvasStroke &stroke, std::size_t y);

    /// Append the row, rounded to 8 bits: premultiplied 0xAARRGGBB, in colours or opaque greys.
    void appendPixels(PixelBuffer &words);
    void appendGreys(PixelBuffer &words);

  private:
    /// Blue, green, red, alpha from 0 to 1.
    using Lanes = float __attribute__((vector_size(16)));

    template <class Write> void append(PixelBuffer &words, Write write);
    template <class Mode> void blendPicture(const CanvasStroke &stroke, std::size_t y);
    template <class Mode> void blendColor(const CanvasStroke &stroke, std::size_t y);
    template <class Mode> void blend(const CanvasStroke &stroke, std::size_t y);
    std::span<const std::uint8_t> clipOf(const CanvasStroke &stroke, std::size_t x,
                                         std::size_t y) const;

    std::size_t _width;
    /// As many as the width, rounded up to whole groups.
    std::vector<Lanes> _pixels;
    std::vector<std::uint32_t> _words;
};
