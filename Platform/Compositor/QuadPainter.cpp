#include "Platform/Compositor/QuadPainter.h"

#include "Platform/Compositor/PixelArithmetic.h"

#include <cmath>
#include <cstring>

namespace {

using namespace PixelArithmetic;

std::uint32_t partOf(std::uint32_t weight, double coverage) {
    return static_cast<std::uint32_t>(weight * coverage + 0.5);
}

void copyRow(const PixelKernels &kernels, const std::uint32_t *source, std::uint32_t *target,
             int count, bool opaque, std::uint32_t weight) {
    if (opaque && weight == kFullWeight) {
        std::memcpy(target, source, static_cast<std::size_t>(count) * sizeof *source);
    } else {
        kernels.blendRow(source, target, count, weight);
    }
}

// `stride` is from one cell's pixels to the next one's.
void copyCells(const std::uint32_t *source, std::ptrdiff_t stride, std::uint32_t *target,
               unsigned cells) {
    for (; cells != 0; cells &= cells - 1) {
        const int cell = std::countr_zero(cells);
        std::memcpy(target + std::ptrdiff_t{cell} * CellMask::kCell, source + cell * stride,
                    CellMask::kCell * sizeof *target);
    }
}

// A colour premultiplied and with 16 bits a channel, so that fading rounds once.
class FillColor {
  public:
    explicit FillColor(const CGColor &color)
        : _alpha(unit(color.alpha)), _red(unit(color.red) * _alpha),
          _green(unit(color.green) * _alpha), _blue(unit(color.blue) * _alpha) {}

    std::uint64_t pixel(std::uint32_t weight) const {
        const double part = 255.0 * weight / kFullWeight;
        const auto channel = [&](double value, int shift) {
            return static_cast<std::uint64_t>(value * part + 0.5) << shift;
        };
        return channel(_blue, 0) | channel(_red, 16) | channel(_green, 32) | channel(_alpha, 48);
    }

  private:
    static double unit(double value) { return value > 0 ? std::min(value, 1.0) : 0; }

    double _alpha;
    double _red;
    double _green;
    double _blue;
};

void fillRow(const PixelKernels &kernels, std::uint64_t pixel, std::uint32_t *row, int count) {
    if (alpha(pixel) == 255) {
        std::fill_n(row, count, packed(pixel));
    } else {
        kernels.blendColor(packed(pixel), row, count);
    }
}

// A coordinate of the rectangle at the centre of a pixel.
double uAt(const DeviceQuad &quad, int x, int y) {
    const Affine &map = quad.fromDevice();
    return map.tx + map.c * (y + 0.5) + map.a * (x + 0.5);
}

double vAt(const DeviceQuad &quad, int x, int y) {
    const Affine &map = quad.fromDevice();
    return map.ty + map.d * (y + 0.5) + map.b * (x + 0.5);
}

} // namespace

namespace QuadPainter {

void copyPicture(const PixelKernels &kernels, const PixelArea &target, const PaintClip &clip,
                 const Picture &picture, int left, int top, std::uint32_t weight) {
    for (int y = clip.rect.top; y < clip.rect.bottom; y++) {
        clip.forEachRun(y, clip.rect.left, clip.rect.right, [&](int from, int to) {
            copyRow(kernels, picture.at(from - left, y - top), target.at(from, y), to - from,
                    picture.opaque, weight);
        });
    }
}

void copyColumns(const PixelKernels &kernels, const PixelArea &target, const PaintClip &clip,
                 const ColumnPicture &picture, std::uint32_t weight) {
    const bool hides = picture.isOpaque() && weight == kFullWeight;
    const DeviceRect &rect = clip.rect;
    clip.forEachEightCells([&](int first, int y, unsigned cells) {
        const bool isWhole = first >= rect.left && first + CellMask::kEightCells <= rect.right;
        if (hides && isWhole) {
            copyCells(picture.at(first, y), picture.columnStride(), target.at(first, y), cells);
            return;
        }
        for (; cells != 0; cells &= cells - 1) {
            const int cell = first + std::countr_zero(cells) * CellMask::kCell;
            const int left = std::max(cell, rect.left);
            const int right = std::min(cell + CellMask::kCell, rect.right);
            copyRow(kernels, picture.at(left, y), target.at(left, y), right - left, hides, weight);
        }
    });
}

void copyMasked(const PixelKernels &kernels, const PixelArea &target, const PaintClip &clip,
                const Picture &picture, int left, int top, std::uint32_t weight,
                const DeviceQuad &mask) {
    for (int y = clip.rect.top; y < clip.rect.bottom; y++) {
        const DeviceQuad::Span span = mask.span(y, clip.rect.left, clip.rect.right, 0);
        const auto copyPart = [&](int from, int to, bool opaque, std::uint32_t part) {
            copyRow(kernels, picture.at(from - left, y - top), target.at(from, y), to - from,
                    opaque, part);
        };
        const auto copyEdge = [&](int from, int to) {
            for (int x = from; x < to; x++) {
                const double coverage = mask.coverage(uAt(mask, x, y), vAt(mask, x, y));
                copyPart(x, x + 1, false, partOf(weight, coverage));
            }
        };
        clip.forEachRun(y, span.outerLeft, span.innerLeft, copyEdge);
        clip.forEachRun(y, span.innerLeft, span.innerRight,
                        [&](int from, int to) { copyPart(from, to, picture.opaque, weight); });
        clip.forEachRun(y, span.innerRight, span.outerRight, copyEdge);
    }
}

void fill(const PixelKernels &kernels, const PixelArea &target, const PaintClip &clip,
          const CGColor &color, const DeviceQuad &quad, std::uint32_t weight) {
    const FillColor source(color);
    for (int y = clip.rect.top; y < clip.rect.bottom; y++) {
        const DeviceQuad::Span span = quad.span(y, clip.rect.left, clip.rect.right, 0);
        const auto fillEdge = [&](int from, int to) {
            for (int x = from; x < to; x++) {
                const double coverage = quad.coverage(uAt(quad, x, y), vAt(quad, x, y));
                blend(source.pixel(partOf(weight, coverage)), *target.at(x, y));
            }
        };
        clip.forEachRun(y, span.outerLeft, span.innerLeft, fillEdge);
        clip.forEachRun(y, span.innerLeft, span.innerRight, [&](int from, int to) {
            fillRow(kernels, source.pixel(weight), target.at(from, y), to - from);
        });
        clip.forEachRun(y, span.innerRight, span.outerRight, fillEdge);
    }
}

} // namespace QuadPainter
