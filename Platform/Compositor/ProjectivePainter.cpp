#include "Platform/Compositor/ProjectivePainter.h"

#include "Platform/Compositor/PixelArithmetic.h"

#include <algorithm>

namespace {

using namespace PixelArithmetic;

/// Calls `paint(x, y, part)` for the pixels that the quad covers, `part` of the weight.
template <class Paint>
void eachPixel(const PaintClip &clip, const ProjectiveQuad &quad, std::uint32_t weight,
               const Paint &paint) {
    for (int y = clip.rect.top; y < clip.rect.bottom; y++) {
        const ProjectiveQuad::Span span = quad.span(y, clip.rect.left, clip.rect.right);
        clip.forEachRun(y, span.outerLeft, span.outerRight, [&](int from, int to) {
            for (int x = from; x < to; x++) {
                const bool isInside = x >= span.innerLeft && x < span.innerRight;
                const double coverage = isInside ? 1 : quad.coverage(x + 0.5, y + 0.5);
                paint(x, y, static_cast<std::uint32_t>(weight * coverage + 0.5));
            }
        });
    }
}

// Half a step of the 8 bits that blend columns, and of the 16 that blend rows.
constexpr double kRoundX = 128;
constexpr double kRoundY = 0.5;

/// A position among the texels' middles, with 16 fractional bits.
std::int32_t fixedPosition(double position, double round, std::int32_t last) {
    return static_cast<std::int32_t>(std::clamp<double>(position * 65536 + round, 0, last));
}

std::uint32_t preparedTexel(const std::uint8_t *pair) {
    std::uint32_t pixel = 0;
    for (int channel = 0; channel < 4; channel++) {
        pixel |= std::uint32_t{pair[2 * channel]} << 8 * channel;
    }
    return pixel;
}

/// The four texels whose top left one is given.
void fetch(const SpriteSource &source, std::int32_t column, std::int32_t row,
           std::uint32_t (&texels)[4]) {
    const std::ptrdiff_t first = std::ptrdiff_t{row} * source.stride + column;
    if (source.pairs) {
        const std::uint8_t *pair = source.pairs + first * 8;
        texels[0] = preparedTexel(pair);
        texels[1] = preparedTexel(pair + 8);
        texels[2] = preparedTexel(pair + 1);
        texels[3] = preparedTexel(pair + 9);
    } else {
        const std::uint32_t *top = source.pixels + first;
        texels[0] = top[0];
        texels[1] = top[1];
        texels[2] = top[source.stride];
        texels[3] = top[source.stride + 1];
    }
}

std::uint64_t sample(const SpriteTexels &texels, double u, double v, std::uint32_t weight) {
    const SpriteSource &source = texels.source();
    const std::int32_t x = fixedPosition(u * texels.width() - 0.5, kRoundX, source.lastU);
    const std::int32_t y = fixedPosition(v * texels.height() - 0.5, kRoundY, source.lastV);
    std::uint32_t around[4];
    fetch(source, x >> 16, y >> 16, around);
    const auto part = static_cast<std::uint32_t>(y & 0xFFFF);
    const auto lower = static_cast<std::uint32_t>(std::uint64_t{part} * weight >> 16);
    return bilinear(around, x >> 8 & 0xFF, weight - lower, lower);
}

std::uint32_t premultiplied(const CGColor &color) {
    const auto unit = [](double value) { return value > 0 ? std::min(value, 1.0) : 0; };
    const double alpha = unit(color.alpha);
    const auto channel = [](double value) { return static_cast<std::uint32_t>(value * 255 + 0.5); };
    return channel(alpha) << 24 | channel(unit(color.red) * alpha) << 16 |
           channel(unit(color.green) * alpha) << 8 | channel(unit(color.blue) * alpha);
}

} // namespace

namespace ProjectivePainter {

void drawPicture(const PixelArea &target, const PaintClip &clip, const SpriteTexels &texels,
                 const ProjectiveQuad &quad, std::uint32_t weight) {
    eachPixel(clip, quad, weight, [&](int x, int y, std::uint32_t part) {
        const ProjectiveQuad::Place place = quad.placeAt(x + 0.5, y + 0.5);
        if (place.w > 0 && part > 0) {
            const double perW = 1 / place.w;
            blend(sample(texels, place.u * perW, place.v * perW, part), *target.at(x, y));
        }
    });
}

void copyMasked(const PixelArea &target, const PaintClip &clip, const Picture &picture,
                std::uint32_t weight, const ProjectiveQuad &mask) {
    eachPixel(clip, mask, weight, [&](int x, int y, std::uint32_t part) {
        const std::uint64_t pixel = spread(*picture.at(x - clip.rect.left, y - clip.rect.top));
        blend(part == kFullWeight ? pixel : weighted(pixel, part), *target.at(x, y));
    });
}

void fill(const PixelArea &target, const PaintClip &clip, const CGColor &color,
          const ProjectiveQuad &quad, std::uint32_t weight) {
    const std::uint64_t pixel = spread(premultiplied(color));
    eachPixel(clip, quad, weight, [&](int x, int y, std::uint32_t part) {
        blend(part == kFullWeight ? pixel : weighted(pixel, part), *target.at(x, y));
    });
}

} // namespace ProjectivePainter
