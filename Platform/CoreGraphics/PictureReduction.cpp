#include "Platform/CoreGraphics/PictureDecoders.h"

#include <algorithm>
#include <utility>

namespace {

std::uint8_t meanOf(std::uint64_t sum, std::uint64_t count) {
    return static_cast<std::uint8_t>((sum + count / 2) / count);
}

} // namespace

bool PictureRequest::isAcceptable(std::uint64_t storedWidth,
                                  std::uint64_t storedHeight) const noexcept {
    if (CGImage::isSizeSupported(storedWidth, storedHeight)) {
        return true;
    }
    return mayReduce() && storedWidth > 0 && storedHeight > 0 &&
           storedWidth <= kMaxReducedPixels / storedHeight;
}

double PictureRequest::factorFor(std::uint64_t storedWidth, std::uint64_t storedHeight,
                                 bool areColumns) const noexcept {
    const auto across = static_cast<double>(areColumns ? storedHeight : storedWidth);
    const auto down = static_cast<double>(areColumns ? storedWidth : storedHeight);
    const double factor =
        std::max(static_cast<double>(width) / across, static_cast<double>(height) / down);
    return mayReduce() ? std::min(factor, 1.0) : 1;
}

RowReducer::RowReducer(PictureBuffer &buffer, std::size_t width, std::size_t height,
                       std::size_t side)
    : _buffer(buffer), _width(width), _height(height), _side(side), _row(width * 4),
      _sums(buffer.width()) {}

void RowReducer::endRow() {
    const std::uint8_t *pixel = _row.data();
    for (std::size_t x = 0; x < _width; ++x, pixel += 4) {
        Sums &sums = _sums[x / _side];
        sums.red += std::uint64_t{pixel[0]} * pixel[3];
        sums.green += std::uint64_t{pixel[1]} * pixel[3];
        sums.blue += std::uint64_t{pixel[2]} * pixel[3];
        sums.alpha += pixel[3];
    }
    ++_y;
    if (_y % _side == 0 || _y == _height) {
        writeRow((_y - 1) % _side + 1);
    }
}

/// Begins the sums anew. Where all is transparent, the colour is black.
void RowReducer::writeRow(std::size_t rows) {
    std::uint8_t *pixel = _buffer.row((_y - 1) / _side);
    for (std::size_t x = 0; x < _buffer.width(); ++x, pixel += 4) {
        const Sums sums = std::exchange(_sums[x], {});
        const std::size_t columns = std::min(_side, _width - x * _side);
        const std::uint64_t weight = std::max<std::uint64_t>(sums.alpha, 1);
        pixel[0] = meanOf(sums.red, weight);
        pixel[1] = meanOf(sums.green, weight);
        pixel[2] = meanOf(sums.blue, weight);
        pixel[3] = meanOf(sums.alpha, rows * columns);
    }
}
