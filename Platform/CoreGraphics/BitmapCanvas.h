#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CairoDrawing.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// How new colours are blended with those below. The numbers are part of the interface.
enum class CGBlendMode { Normal = 0, Multiply = 1, Overlay = 3 };

/// How much of each pixel of a canvas is painted, 0 (nothing) to 255; rows from the top.
using ClipCoverage = std::vector<std::uint8_t>;

/// One painting operation: a picture, or a colour over a rectangle of whole pixels.
struct CanvasStroke {
    CGBlendMode mode = CGBlendMode::Normal;

    /// Null paints everywhere.
    std::shared_ptr<const ClipCoverage> clip;

    /// Null paints the colour.
    std::shared_ptr<const PlacedPicture> picture;

    CGColor color{};
    std::size_t left = 0, top = 0, right = 0, bottom = 0;

    /// An upper bound of the bytes that only this stroke keeps alive.
    std::size_t heldBytes() const {
        return (clip ? clip->size() : 0) + (picture ? picture->ownBytes() : 0);
    }

    /// True when a canvas with this stroke alone shows the stroke's picture.
    bool coversEverything() const {
        return mode == CGBlendMode::Normal && !clip && picture && picture->coversAll();
    }

    /// True when nothing below the stroke shows through.
    bool hidesEverything() const { return coversEverything() && picture->coversOpaquely(); }
};

/// The bitmap of a context. It keeps the strokes and computes the pixels on demand, a row at a time
/// and in floating point, so that several strokes on top of one another round to 8 bits only once
/// and take no more memory than their result.
class BitmapCanvas {
  public:
    /// Transparent at first, or opaque black.
    BitmapCanvas(std::size_t width, std::size_t height, bool isBlack);

    std::size_t width() const noexcept { return _width; }
    std::size_t height() const noexcept { return _height; }

    /// Adds a stroke on top.
    void paint(CanvasStroke stroke);

    /// Rounded to 8 bits: premultiplied 0xAARRGGBB.
    PixelBuffer pixels() const;

    /// The pixels over black, as opaque greys: 0.2126 red + 0.7152 green + 0.0722 blue, so that
    /// neutral greys map to themselves.
    PixelBuffer greyPixels() const;

  private:
    static constexpr std::size_t kComponents = 4;

    template <class Take> void computeRows(Take take) const;
    bool isWorthSettling() const;
    void settle();

    std::size_t _width;
    std::size_t _height;
    bool _isBlack;
    /// The result of earlier strokes, 4 components of 16 bits a pixel; empty while there is none.
    std::vector<std::uint16_t> _settled;
    std::vector<CanvasStroke> _strokes;
};
