#include "Platform/Compositor/PixelKernels.h"

#include <algorithm>

namespace {

constexpr std::int32_t kFullAlpha = 255 * 128;

// The four channels of what is drawn: 128 steps a level, negative.
using Steps = std::int32_t[4];

// Of numbers with 15 fractional bits, rounded.
std::int32_t product(std::int32_t a, std::int32_t b) { return (a * b + 0x4000) >> 15; }

void blend(const Steps &source, std::uint32_t &target) {
    const auto rest = static_cast<std::uint32_t>(kFullAlpha + source[3]);
    std::uint32_t result = 0;
    for (int channel = 0; channel < 4; channel++) {
        const std::uint32_t level = target >> 8 * channel & 255;
        const auto below = static_cast<std::int32_t>(level * 257 * rest >> 16);
        const std::int32_t sum = std::min(below - source[channel], 32767);
        result |= static_cast<std::uint32_t>(std::min((sum + 64) >> 7, 255)) << 8 * channel;
    }
    target = result;
}

// A texel's level, and that below it.
struct Column {
    std::int32_t top;
    std::int32_t bottom;
};

Column prepared(const SpriteSource &source, std::ptrdiff_t offset, int channel) {
    const std::uint8_t *const texel = source.pairs + offset * 8 + channel * 2;
    return {texel[0], texel[1]};
}

Column original(const SpriteSource &source, std::ptrdiff_t offset, int channel) {
    const std::uint32_t *const texel = source.pixels + offset;
    return {static_cast<std::int32_t>(texel[0] >> 8 * channel & 255),
            static_cast<std::int32_t>(texel[source.stride] >> 8 * channel & 255)};
}

template <Column (*column)(const SpriteSource &, std::ptrdiff_t, int)>
void drawPixel(const SpriteSource &source, std::uint32_t u, std::uint32_t v, std::uint32_t weight,
               std::uint32_t &target) {
    const std::ptrdiff_t offset =
        static_cast<std::ptrdiff_t>(v >> 16) * source.stride + static_cast<std::ptrdiff_t>(u >> 16);
    const auto lower = static_cast<std::int32_t>(v >> 9 & 127);
    const auto left = static_cast<std::int32_t>((~u & 0xFFFF) * weight >> 16);
    const auto right = static_cast<std::int32_t>((u & 0xFFFF) * weight >> 16);
    const auto mixed = [&](std::ptrdiff_t place, int channel) {
        const Column texels = column(source, place, channel);
        return -(texels.top * (128 - lower) + texels.bottom * lower);
    };
    Steps steps;
    for (int channel = 0; channel < 4; channel++) {
        steps[channel] =
            product(mixed(offset, channel), left) + product(mixed(offset + 1, channel), right);
    }
    blend(steps, target);
}

template <Column (*column)(const SpriteSource &, std::ptrdiff_t, int)>
void drawInsideRow(const SpriteSource &source, const SpriteStep &step, const SpriteRow &row,
                   std::uint32_t weight) {
    std::uint32_t u = row.u;
    std::uint32_t v = row.v;
    for (int i = 0; i < row.count; i++) {
        drawPixel<column>(source, u, v, weight, row.pixels[i]);
        u += static_cast<std::uint32_t>(step.u);
        v += static_cast<std::uint32_t>(step.v);
    }
}

void drawInside(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
                std::size_t count, std::uint32_t weight) {
    for (const SpriteRow *row = rows; row < rows + count; row++) {
        if (source.pairs) {
            drawInsideRow<prepared>(source, step, *row, weight);
        } else {
            drawInsideRow<original>(source, step, *row, weight);
        }
    }
}

std::uint32_t clamped(std::uint32_t position, std::int32_t last) {
    return static_cast<std::uint32_t>(std::clamp(static_cast<std::int32_t>(position), 0, last));
}

void drawEdges(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
               std::size_t count) {
    for (const SpriteRow *row = rows; row < rows + count; row++) {
        for (int i = 0; i < row->count; i++) {
            const std::uint32_t u = row->u + static_cast<std::uint32_t>(i) * step.u;
            const std::uint32_t v = row->v + static_cast<std::uint32_t>(i) * step.v;
            const auto draw = source.pairs ? drawPixel<prepared> : drawPixel<original>;
            draw(source, clamped(u, source.lastU), clamped(v, source.lastV), row->weights[i],
                 row->pixels[i]);
        }
    }
}

// A pixel, faded by -32768 (not at all) to 0.
void blendPixel(std::uint32_t source, std::int32_t negativeWeight, std::uint32_t &target) {
    Steps steps;
    for (int channel = 0; channel < 4; channel++) {
        steps[channel] = product((source >> 8 * channel & 255) << 7, negativeWeight);
    }
    blend(steps, target);
}

void blendRow(const std::uint32_t *source, std::uint32_t *target, int count, std::uint32_t weight) {
    for (int i = 0; i < count; i++) {
        blendPixel(source[i], -static_cast<std::int32_t>(weight / 2), target[i]);
    }
}

void blendColor(std::uint32_t color, std::uint32_t *target, int count) {
    for (int i = 0; i < count; i++) {
        blendPixel(color, -32768, target[i]);
    }
}

} // namespace

const PixelKernels &PixelKernels::plain() {
    static constexpr PixelKernels kPlain{"plain", ::drawInside, ::drawEdges, ::blendRow,
                                         ::blendColor};
    return kPlain;
}
