#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/PlacedPicture.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// How new colours meet those that are there; the numbers are the platform's own.
enum class CGBlendMode { Normal = 0, Multiply = 1, Overlay = 3 };

/// How much of each pixel of a canvas is painted, rows from the top: 255 all of it, 0 none.
using CGCoverage = std::vector<std::uint8_t>;

/// A picture, or a colour over a rectangle of whole pixels, on its way into a canvas.
struct CGStroke {
    CGBlendMode mode = CGBlendMode::Normal;

    /// Null: everywhere.
    std::shared_ptr<const CGCoverage> clip;

    /// Null: the colour.
    std::shared_ptr<const PlacedPicture> picture;

    CGColor color{};
    std::size_t left = 0, top = 0, right = 0, bottom = 0;

    /// Memory that the stroke alone keeps alive, at most.
    std::size_t heldBytes() const {
        return (clip ? clip->size() : 0) + (picture ? picture->ownBytes() : 0);
    }

    /// True for a picture that is all that shows where nothing was painted before.
    bool coversEverything() const {
        return mode == CGBlendMode::Normal && !clip && picture && picture->coversAll();
    }

    /// True when nothing of what lies below shows any more.
    bool hidesEverything() const { return coversEverything() && picture->coversOpaquely(); }
};

/// What a bitmap context shows. It keeps what is painted and computes the pixels only when they are
/// wanted, a row at a time and in floating point: so a few operations on top of one another still
/// round to the right 8 bits, and take no more memory than their result.
class CGCanvas {
  public:
    /// Clear, or all opaque black.
    CGCanvas(std::size_t width, std::size_t height, bool isBlack);

    std::size_t width() const noexcept { return _width; }
    std::size_t height() const noexcept { return _height; }

    /// On top of everything painted so far.
    void paint(CGStroke stroke);

    /// Rounded to 8 bits: premultiplied 0xAARRGGBB.
    CGPixels pixels() const;

    /// The same in opaque greys, what is transparent over black: 0.2126 red + 0.7152 green + 0.0722
    /// blue, so that neutral greys map to themselves.
    CGPixels greyPixels() const;

  private:
    static constexpr std::size_t kComponents = 4;

    template <class Take> void computeRows(Take take) const;
    bool isWorthSettling() const;
    void settle();

    std::size_t _width;
    std::size_t _height;
    bool _isBlack;
    /// What lies under the strokes: 4 components of 16 bits a pixel. None before the strokes were
    /// many or heavy.
    std::vector<std::uint16_t> _settled;
    std::vector<CGStroke> _strokes;
};
