#include "Platform/Compositor/QuadPainter.h"

#include "Platform/Compositor/PixelArithmetic.h"

#include <cstring>

namespace {

using namespace PixelArithmetic;

/// Calls edge(x, y, coverage) for the pixels of the clip that the quad may cover in part, and
/// inside(y, left, right) for the runs of pixels that it covers wholly.
template <class Quad, class Edge, class Inside>
void forEachPart(const PaintClip &clip, const Quad &quad, const Edge &edge, const Inside &inside) {
    for (int y = clip.rect.top; y < clip.rect.bottom; ++y) {
        const auto edges = [&](int left, int right) {
            for (int x = left; x < right; ++x) {
                edge(x, y, quad.coverage(x, y));
            }
        };
        const auto span = quad.span(y, clip.rect.left, clip.rect.right);
        clip.forEachRun(y, span.outerLeft, span.innerLeft, edges);
        clip.forEachRun(y, span.innerLeft, span.innerRight,
                        [&](int left, int right) { inside(y, left, right); });
        clip.forEachRun(y, span.innerRight, span.outerRight, edges);
    }
}

/// Calls paint(x, y, part) for every pixel that the quad may cover, with its part of the weight.
template <class Paint>
void forEachPixel(const PaintClip &clip, const ProjectiveQuad &quad, std::uint32_t weight,
                  const Paint &paint) {
    forEachPart(
        clip, quad, [&](int x, int y, double coverage) { paint(x, y, partOf(weight, coverage)); },
        [&](int y, int left, int right) {
            for (int x = left; x < right; ++x) {
                paint(x, y, weight);
            }
        });
}

void blendWeighted(std::uint64_t pixel, std::uint32_t weight, std::uint32_t &target) {
    blend(weight == kFullWeight ? pixel : weighted(pixel, weight), target);
}

/// A premultiplied colour. Its channels stay real numbers, so that fading rounds once.
class FillColor {
  public:
    explicit FillColor(const CGColor &color)
        : _alpha(unit(color.alpha)), _red(unit(color.red) * _alpha),
          _green(unit(color.green) * _alpha), _blue(unit(color.blue) * _alpha) {}

    std::uint64_t spreadPixel(std::uint32_t weight = kFullWeight) const {
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

/// Halves of the steps to which positions are rounded: columns blend with 8 bits, rows with 16.
constexpr double kHalfStepOfX = 128;
constexpr double kHalfStepOfY = 0.5;

/// A position among the texels' centres, with 16 fractional bits.
std::int32_t fixedPosition(double position, double halfStep, std::int32_t last) {
    return static_cast<std::int32_t>(std::clamp<double>(position * 65536 + halfStep, 0, last));
}

/// Reads four neighbouring texels, of which the top left one is at `column` and `row`.
void fetch(const SpriteSource &source, std::int32_t column, std::int32_t row,
           std::uint32_t (&texels)[4]) {
    const std::ptrdiff_t first = std::ptrdiff_t{row} * source.stride + column;
    for (int channel = 0; channel < 4; ++channel) {
        const auto add = [&](const SpriteSource::Column &levels, std::size_t top) {
            texels[top] |= static_cast<std::uint32_t>(levels.top) << 8 * channel;
            texels[top + 2] |= static_cast<std::uint32_t>(levels.bottom) << 8 * channel;
        };
        add(source.column(first, channel), 0);
        add(source.column(first + 1, channel), 1);
    }
}

std::uint64_t sample(const SpriteTexels &texels, double u, double v, std::uint32_t weight) {
    const SpriteSource &source = texels.source();
    const std::int32_t x = fixedPosition(u * texels.width() - 0.5, kHalfStepOfX, source.lastU);
    const std::int32_t y = fixedPosition(v * texels.height() - 0.5, kHalfStepOfY, source.lastV);
    std::uint32_t around[4] = {};
    fetch(source, x >> 16, y >> 16, around);
    const auto part = static_cast<std::uint32_t>(y & 0xFFFF);
    const auto lower = static_cast<std::uint32_t>(std::uint64_t{part} * weight >> 16);
    return bilinear(around, x >> 8 & 0xFF, weight - lower, lower);
}

/// Most pixels are set to nothing, and memset() does that with the widest stores.
void set(std::uint32_t *target, int count, std::uint32_t pixel) {
    if (pixel == 0) {
        std::memset(target, 0, static_cast<std::size_t>(count) * sizeof *target);
    } else {
        std::fill_n(target, count, pixel);
    }
}

} // namespace

void QuadPainter::clear(const PixelArea &target, const PaintClip &clip, std::uint32_t pixel) {
    for (int y = clip.rect.top; y < clip.rect.bottom; ++y) {
        clip.forEachRun(y, clip.rect.left, clip.rect.right,
                        [&](int left, int right) { set(target.at(left, y), right - left, pixel); });
    }
}

void QuadPainter::copyRow(const std::uint32_t *source, std::uint32_t *target, int count,
                          bool opaque, std::uint32_t weight) const {
    if (opaque && weight == kFullWeight) {
        std::memcpy(target, source, static_cast<std::size_t>(count) * sizeof *source);
    } else {
        _kernels.blendRow(source, target, count, weight);
    }
}

void QuadPainter::copy(const PixelArea &target, const PaintClip &clip, const Picture &picture,
                       int left, int top, std::uint32_t weight) const {
    for (int y = clip.rect.top; y < clip.rect.bottom; ++y) {
        clip.forEachRun(y, clip.rect.left, clip.rect.right, [&](int from, int to) {
            copyRow(picture.at(from - left, y - top), target.at(from, y), to - from, picture.opaque,
                    weight);
        });
    }
}

void QuadPainter::copyMasked(const PixelArea &target, const PaintClip &clip, const Picture &picture,
                             std::uint32_t weight, const DeviceQuad &mask) const {
    const auto source = [&](int x, int y) {
        return picture.at(x - clip.rect.left, y - clip.rect.top);
    };
    forEachPart(
        clip, mask,
        [&](int x, int y, double coverage) {
            _kernels.blendRow(source(x, y), target.at(x, y), 1, partOf(weight, coverage));
        },
        [&](int y, int left, int right) {
            copyRow(source(left, y), target.at(left, y), right - left, picture.opaque, weight);
        });
}

void QuadPainter::copyMasked(const PixelArea &target, const PaintClip &clip, const Picture &picture,
                             std::uint32_t weight, const ProjectiveQuad &mask) const {
    forEachPixel(clip, mask, weight, [&](int x, int y, std::uint32_t part) {
        const std::uint32_t pixel = *picture.at(x - clip.rect.left, y - clip.rect.top);
        blendWeighted(spread(pixel), part, *target.at(x, y));
    });
}

void QuadPainter::fill(const PixelArea &target, const PaintClip &clip, const CGColor &color,
                       std::uint32_t weight, const DeviceQuad &quad) const {
    const FillColor source(color);
    const std::uint64_t pixel = source.spreadPixel(weight);
    forEachPart(
        clip, quad,
        [&](int x, int y, double coverage) {
            blend(source.spreadPixel(partOf(weight, coverage)), *target.at(x, y));
        },
        [&](int y, int left, int right) {
            if (alpha(pixel) == 255) {
                std::fill_n(target.at(left, y), right - left, packed(pixel));
            } else {
                _kernels.blendColor(packed(pixel), target.at(left, y), right - left);
            }
        });
}

void QuadPainter::fill(const PixelArea &target, const PaintClip &clip, const CGColor &color,
                       std::uint32_t weight, const ProjectiveQuad &quad) const {
    const std::uint64_t pixel = FillColor(color).spreadPixel();
    forEachPixel(clip, quad, weight, [&](int x, int y, std::uint32_t part) {
        blendWeighted(pixel, part, *target.at(x, y));
    });
}

void QuadPainter::drawPicture(const PixelArea &target, const PaintClip &clip,
                              const SpriteTexels &texels, std::uint32_t weight,
                              const ProjectiveQuad &quad) const {
    forEachPixel(clip, quad, weight, [&](int x, int y, std::uint32_t part) {
        const ProjectiveQuad::Place place = quad.placeOf(x, y);
        if (place.w > 0 && part > 0) {
            const double perW = 1 / place.w;
            blend(sample(texels, place.u * perW, place.v * perW, part), *target.at(x, y));
        }
    });
}
