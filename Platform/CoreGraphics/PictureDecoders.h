#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/CoreGraphics/ColorConversion.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>
#include <vector>

/// How the rows that a file stores lie in the upright picture: first they are mirrored, then, where
/// they are columns, rows and columns change places.
struct PictureOrientation {
    bool mirrorsX = false; ///< Each row runs from right to left.
    bool mirrorsY = false; ///< The rows run from the bottom up.
    bool areColumns = false;

    bool isUpright() const noexcept { return !mirrorsX && !mirrorsY && !areColumns; }

    /// The orientation in Exif data, with or without the "Exif" header; upright where they give
    /// none or an invalid one.
    static PictureOrientation inExif(std::span<const std::uint8_t> exif);
};

/// How large a picture is to be decoded.
struct PictureRequest {
    std::uint64_t maxPixels = std::numeric_limits<std::uint64_t>::max();

    /// What a smaller picture must still cover, in pixels of the upright picture; 0 when only the
    /// whole picture will do.
    std::uint64_t width = 0;
    std::uint64_t height = 0;

    /// The most pixels of a file whose picture is made smaller: they limit the work.
    static constexpr std::uint64_t kMaxReducedPixels = std::uint64_t{1} << 30;

    bool mayReduce() const noexcept { return width > 0 && height > 0; }

    /// True when the file's picture may be decoded, whole or smaller.
    bool isAcceptable(std::uint64_t storedWidth, std::uint64_t storedHeight) const noexcept;

    /// By what the sides of a stored picture are to be multiplied, at most 1, so that it just
    /// covers what was asked for.
    double factorFor(std::uint64_t storedWidth, std::uint64_t storedHeight,
                     bool areColumns) const noexcept;
};

/// The memory that a decoder writes its pixels to: red, green, blue, alpha, one byte each, not
/// premultiplied, rows from the top. It is not cleared, so that a damaged file that claims a large
/// picture costs only the rows that it really holds.
class PictureBuffer {
  public:
    /// Empty when the size is beyond CGImage's bounds or has more than `maxPixels`; throws
    /// std::bad_alloc when there is no memory.
    PictureBuffer(std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels);

    explicit operator bool() const noexcept { return !_pixels.empty(); }

    std::size_t width() const noexcept { return _width; }
    std::size_t height() const noexcept { return _height; }
    std::size_t bytesPerRow() const noexcept { return _width * 4; }
    std::size_t size() const noexcept { return bytesPerRow() * _height; }
    std::uint8_t *row(std::size_t y) noexcept { return bytes() + y * bytesPerRow(); }

    /// Turns pixels whose four bytes are cyan, magenta, yellow and key into colours. With
    /// `inverted` 255 is no ink, otherwise 0.
    void convertFromInks(bool inverted);

    /// Applies a conversion whose source has four bytes a pixel.
    void convertColors(const ColorConversion &conversion);

    /// The finished picture, upright. It takes over the memory; only turning rows into columns
    /// needs as much again and throws std::bad_alloc without. Every pixel must have been written.
    Retained<CGImage> premultipliedImage(const PictureOrientation &orientation);

  private:
    void premultiply();
    void turnUpright(const PictureOrientation &orientation);
    void swapRowsAndColumns();

    std::uint8_t *bytes() noexcept { return reinterpret_cast<std::uint8_t *>(_pixels.data()); }

    std::size_t _width;
    std::size_t _height;
    PixelBuffer _pixels;
};

/// Makes a picture smaller row by row: each pixel is the mean of a square of the file's pixels,
/// which is cut off at the right and lower edges.
class RowReducer {
  public:
    /// `side` is that of the square. The buffer, which is not owned, must have sizeFor() each side.
    RowReducer(PictureBuffer &buffer, std::size_t width, std::size_t height, std::size_t side);

    static std::size_t sizeFor(std::size_t side, std::size_t square) {
        return (side + square - 1) / square;
    }

    /// The file's next row as in a PictureBuffer; endRow() takes it.
    std::uint8_t *row() noexcept { return _row.data(); }
    void endRow();

  private:
    struct Sums {
        std::uint64_t red = 0, green = 0, blue = 0, alpha = 0; ///< the colours times alpha
    };

    void writeRow(std::size_t rows);

    PictureBuffer &_buffer;
    const std::size_t _width;
    const std::size_t _height;
    const std::size_t _side;
    std::size_t _y = 0;
    std::vector<std::uint8_t> _row;
    std::vector<Sums> _sums;
};

/// True when the text stands at that offset.
bool holdsAt(std::span<const std::uint8_t> bytes, std::size_t offset, std::string_view text);

// One decoder a format. Each takes a whole file of its format and gives null when the file is
// truncated, damaged, or larger than the request and CGImage's bounds permit. Any thread.

/// Every colour type, bit depth and interlacing; of an animation the default picture.
Retained<CGImage> decodePNG(std::span<const std::uint8_t> file, const PictureRequest &request);

/// Greys, colours and inks, baseline and progressive. What the library only warns of counts as
/// damage, because it fills the missing part with grey.
Retained<CGImage> decodeJPEG(std::span<const std::uint8_t> file, const PictureRequest &request);

/// Lossy and lossless still pictures; null for an animation.
Retained<CGImage> decodeWebP(std::span<const std::uint8_t> file, const PictureRequest &request);
