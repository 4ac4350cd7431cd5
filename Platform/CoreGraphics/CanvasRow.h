#pragma once

#include "Platform/CoreGraphics/CGCanvas.h"

#include <span>

/// A row of a canvas while it is computed: premultiplied colours in floating point. Each pixel is
/// one register of the processor with all four components side by side, and every formula is the
/// same for them: alpha takes the place of a colour as large as itself.
class CanvasRow {
  public:
    explicit CanvasRow(std::size_t width);

    /// Every pixel clear or opaque black.
    void clear(bool isBlack);

    /// Row y of a picture that reaches over the whole row; opaque, as over black, or as it is.
    void begin(const PlacedPicture &picture, std::size_t y, bool isOverBlack);

    /// Every pixel from 4 components of 16 bits, and back, rounded.
    void load(const std::uint16_t *components);
    void store(std::uint16_t *components) const;

    /// Blends a stroke's part in row y over it.
    void paint(const CGStroke &stroke, std::size_t y);

    /// Rounded to 8 bits: premultiplied 0xAARRGGBB, in colours or as opaque greys.
    void appendPixels(CGPixels &words);
    void appendGreys(CGPixels &words);

  private:
    /// Blue, green, red, alpha from 0 to 1.
    using Lanes = float __attribute__((vector_size(16)));

    template <class Write> void append(CGPixels &words, Write write);
    template <class Mode> void blendPicture(const CGStroke &stroke, std::size_t y);
    template <class Mode> void blendColor(const CGStroke &stroke, std::size_t y);
    template <class Mode> void blend(const CGStroke &stroke, std::size_t y);
    std::span<const std::uint8_t> clipOf(const CGStroke &stroke, std::size_t x,
                                         std::size_t y) const;

    std::size_t _width;
    /// Rounded up to whole groups of pixels.
    std::vector<Lanes> _pixels;
    std::vector<std::uint32_t> _words;
};
