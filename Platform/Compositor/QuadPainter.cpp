#include "Platform/Compositor/QuadPainter.h"

#include "Platform/Compositor/PixelArithmetic.h"

#include <cmath>
#include <cstring>

namespace {

using namespace PixelArithmetic;

// Texel positions are fixed-point numbers with 32 fractional bits.
constexpr double kOne = 4294967296.0;

std::int64_t fixed(double value) {
    return static_cast<std::int64_t>(std::floor(value * kOne + 0.5));
}

std::uint32_t partOf(std::uint32_t weight, double coverage) {
    return static_cast<std::uint32_t>(weight * coverage + 0.5);
}

// One row of a picture being drawn: where each pixel's centre lies among the texel centres.
struct TexelLine {
    // Half a step of the 8 bits that blend columns, and of the 16 that blend rows.
    static constexpr std::int64_t kRoundX = std::int64_t{1} << 23;
    static constexpr std::int64_t kRoundY = std::int64_t{1} << 15;

    const Picture &picture;
    const DeviceQuad &quad;
    int y;
    int left;
    double startU;
    double startV;
    std::int64_t startX;
    std::int64_t startY;
    std::int64_t stepX;
    std::int64_t stepY;

    // Positions are meant for pixels from `first` on.
    TexelLine(const Picture &source, const DeviceQuad &shape, int line, int first)
        : picture(source), quad(shape), y(line), left(first),
          startU(shape.fromDevice().tx + shape.fromDevice().c * (line + 0.5) +
                 shape.fromDevice().a * (first + 0.5)),
          startV(shape.fromDevice().ty + shape.fromDevice().d * (line + 0.5) +
                 shape.fromDevice().b * (first + 0.5)),
          startX(fixed(startU - 0.5) + kRoundX), startY(fixed(startV - 0.5) + kRoundY),
          stepX(fixed(shape.fromDevice().a)), stepY(fixed(shape.fromDevice().b)) {}

    std::int64_t xAt(int x) const { return startX + stepX * (x - left); }
    std::int64_t yAt(int x) const { return startY + stepY * (x - left); }

    // All four texels around the pixel exist.
    bool isInside(int x) const {
        const std::int64_t column = xAt(x) >> 32;
        const std::int64_t row = yAt(x) >> 32;
        return column >= 0 && column + 1 < picture.width && row >= 0 && row + 1 < picture.height;
    }
};

// What the lower of two rows contributes to a whole of the given weight.
std::uint32_t bottomPart(std::int64_t position, std::uint32_t weight) {
    return static_cast<std::uint32_t>((position >> 16 & 0xFFFF) * weight >> 16);
}

void drawEdge(const TexelLine &line, const PixelArea &target, int from, int to,
              std::uint32_t weight) {
    const Affine &map = line.quad.fromDevice();
    const Picture &picture = line.picture;
    const std::int64_t lastX = std::int64_t{picture.width - 1} << 32;
    const std::int64_t lastY = std::int64_t{picture.height - 1} << 32;
    for (int x = from; x < to; x++) {
        const std::int64_t positionX = std::clamp<std::int64_t>(line.xAt(x), 0, lastX);
        const std::int64_t positionY = std::clamp<std::int64_t>(line.yAt(x), 0, lastY);
        const std::int64_t column = positionX >> 32;
        const std::int64_t next = positionX < lastX ? column + 1 : column;
        const std::uint32_t *top = picture.at(0, static_cast<int>(positionY >> 32));
        const std::uint32_t *bottom = positionY < lastY ? top + picture.width : top;
        const std::uint32_t texels[4] = {top[column], top[next], bottom[column], bottom[next]};
        if ((texels[0] | texels[1] | texels[2] | texels[3]) == 0) {
            continue;
        }
        const double u = line.startU + map.a * (x - line.left);
        const double v = line.startV + map.b * (x - line.left);
        const std::uint32_t part = partOf(weight, line.quad.coverage(u, v));
        const std::uint32_t lower = bottomPart(positionY, part);
        blend(bilinear(texels, positionX >> 24 & 0xFF, part - lower, lower), *target.at(x, line.y));
    }
}

void drawInside(const TexelLine &line, const PixelArea &target, int from, int to,
                std::uint32_t weight) {
    if (from >= to) {
        return;
    }
    std::uint32_t *pixel = target.at(from, line.y);
    const std::uint32_t *const pixels = line.picture.pixels;
    const std::int64_t width = line.picture.width;
    std::int64_t positionX = line.xAt(from);
    std::int64_t positionY = line.yAt(from);
    for (const std::uint32_t *const end = pixel + (to - from); pixel < end; pixel++) {
        const std::uint32_t column = positionX >> 24 & 0xFF;
        const std::uint32_t lower = bottomPart(positionY, weight);
        const std::uint32_t *top = pixels + (positionY >> 32) * width + (positionX >> 32);
        const std::uint32_t texels[4] = {top[0], top[1], top[width], top[width + 1]};
        if ((texels[0] | texels[1] | texels[2] | texels[3]) != 0) {
            blend(bilinear(texels, column, weight - lower, lower), *pixel);
        }
        positionX += line.stepX;
        positionY += line.stepY;
    }
}

void copyRow(const std::uint32_t *source, std::uint32_t *destination, int count, bool opaque,
             std::uint32_t weight) {
    if (opaque && weight == kFullWeight) {
        std::memcpy(destination, source, static_cast<std::size_t>(count) * sizeof *source);
        return;
    }
    for (int i = 0; i < count; i++) {
        if (source[i] != 0) {
            const std::uint64_t pixel = spread(source[i]);
            blend(weight == kFullWeight ? pixel : weighted(pixel, weight), destination[i]);
        }
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

void fillRow(std::uint64_t pixel, std::uint32_t *row, int count) {
    if (alpha(pixel) == 255) {
        std::fill_n(row, count, packed(pixel));
        return;
    }
    for (int i = 0; i < count; i++) {
        blend(pixel, row[i]);
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

void drawPicture(const PixelArea &target, const DeviceRect &clip, const Picture &picture,
                 const DeviceQuad &quad, std::uint32_t weight) {
    for (int y = clip.top; y < clip.bottom; y++) {
        DeviceQuad::Span span = quad.span(y, clip.left, clip.right, 0.5);
        if (span.outerLeft >= span.outerRight) {
            continue;
        }
        const TexelLine line(picture, quad, y, span.outerLeft);
        while (span.innerLeft < span.innerRight && !line.isInside(span.innerLeft)) {
            span.innerLeft++;
        }
        while (span.innerLeft < span.innerRight && !line.isInside(span.innerRight - 1)) {
            span.innerRight--;
        }
        drawEdge(line, target, span.outerLeft, span.innerLeft, weight);
        drawInside(line, target, span.innerLeft, span.innerRight, weight);
        drawEdge(line, target, span.innerRight, span.outerRight, weight);
    }
}

void copyPicture(const PixelArea &target, const DeviceRect &clip, const Picture &picture, int left,
                 int top, std::uint32_t weight) {
    for (int y = clip.top; y < clip.bottom; y++) {
        copyRow(picture.at(clip.left - left, y - top), target.at(clip.left, y), clip.width(),
                picture.opaque, weight);
    }
}

void copyMasked(const PixelArea &target, const DeviceRect &clip, const Picture &picture, int left,
                int top, std::uint32_t weight, const DeviceQuad &mask) {
    for (int y = clip.top; y < clip.bottom; y++) {
        const DeviceQuad::Span span = mask.span(y, clip.left, clip.right, 0);
        const auto copyPart = [&](int from, int to, bool opaque, std::uint32_t part) {
            copyRow(picture.at(from - left, y - top), target.at(from, y), to - from, opaque, part);
        };
        const auto copyEdge = [&](int from, int to) {
            for (int x = from; x < to; x++) {
                const double coverage = mask.coverage(uAt(mask, x, y), vAt(mask, x, y));
                copyPart(x, x + 1, false, partOf(weight, coverage));
            }
        };
        copyEdge(span.outerLeft, span.innerLeft);
        copyPart(span.innerLeft, span.innerRight, picture.opaque, weight);
        copyEdge(span.innerRight, span.outerRight);
    }
}

void fill(const PixelArea &target, const DeviceRect &clip, const CGColor &color,
          const DeviceQuad &quad, std::uint32_t weight) {
    const FillColor source(color);
    for (int y = clip.top; y < clip.bottom; y++) {
        const DeviceQuad::Span span = quad.span(y, clip.left, clip.right, 0);
        const auto fillEdge = [&](int from, int to) {
            for (int x = from; x < to; x++) {
                const double coverage = quad.coverage(uAt(quad, x, y), vAt(quad, x, y));
                blend(source.pixel(partOf(weight, coverage)), *target.at(x, y));
            }
        };
        fillEdge(span.outerLeft, span.innerLeft);
        fillRow(source.pixel(weight), target.at(span.innerLeft, y),
                span.innerRight - span.innerLeft);
        fillEdge(span.innerRight, span.outerRight);
    }
}

} // namespace QuadPainter
