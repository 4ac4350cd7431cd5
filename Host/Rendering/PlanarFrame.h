#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Lumivera {

/// A picture as YUV 4:2:0 planes, the input of film encoders: the luma, then the two chromas at
/// half the width and height (BT.709, limited range). Odd sides are rounded up by repeating the
/// last column and row.
class PlanarFrame {
  public:
    /// Both sides at least 1.
    PlanarFrame(std::size_t width, std::size_t height);

    std::size_t width() const { return _halfWidth * 2; }
    std::size_t height() const { return _halfHeight * 2; }

    /// Converts opaque pixels 0xFFRRGGBB, rows from the top.
    void take(std::span<const std::uint32_t> pixels);

    /// The planes one after the other.
    std::span<const std::uint8_t> bytes() const { return _bytes; }

  private:
    void takeLuma(const std::uint32_t *row, std::size_t y);
    void takeChroma(const std::uint32_t *upper, const std::uint32_t *lower, std::size_t half);

    const std::size_t _width;
    const std::size_t _height;
    const std::size_t _halfWidth;
    const std::size_t _halfHeight;
    std::vector<std::uint8_t> _bytes;
};

} // namespace Lumivera
