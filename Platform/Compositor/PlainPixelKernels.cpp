#include "Platform/Compositor/PixelKernels.h"

#include <algorithm>

namespace {

// The four channels of a pixel, 255 steps a level.
using Steps = std::uint32_t[4];

constexpr std::uint32_t kFullAlpha = 255 * 255;

std::uint32_t saturated(std::uint32_t value) { return std::min(value, 65535U); }

void blend(const Steps &source, std::uint32_t &target) {
    std::uint32_t rest = kFullAlpha - std::min(source[3], kFullAlpha);
    rest += rest >> 8;
    std::uint32_t result = 0;
    for (int channel = 0; channel < 4; channel++) {
        const std::uint32_t below = target >> 8 * channel & 255;
        const std::uint32_t sum = saturated(saturated(source[channel] + (below * rest >> 8)) + 128);
        result |= std::min(sum * 257 >> 16, 255U) << 8 * channel;
    }
    target = result;
}

// Of numbers with 15 fractional bits, rounded.
std::int32_t product(std::int32_t a, std::int32_t b) { return (a * b + 0x4000) >> 15; }

// The texel's byte and that below it, less 128.
struct Column {
    std::int32_t top;
    std::int32_t bottom;
};

Column prepared(const SpriteSource &source, std::ptrdiff_t offset, int channel) {
    const std::int8_t *const texel = source.pairs + offset * 8 + channel * 2;
    return {texel[0], texel[1]};
}

Column original(const SpriteSource &source, std::ptrdiff_t offset, int channel) {
    const std::uint32_t *const texel = source.pixels + offset;
    return {static_cast<std::int32_t>(texel[0] >> 8 * channel & 255) - 128,
            static_cast<std::int32_t>(texel[source.stride] >> 8 * channel & 255) - 128};
}

template <Column (*column)(const SpriteSource &, std::ptrdiff_t, int)>
void drawPixel(const SpriteSource &source, std::uint32_t u, std::uint32_t v, std::int32_t weight,
               std::uint32_t &target) {
    const std::ptrdiff_t offset =
        static_cast<std::ptrdiff_t>(v >> 16) * source.stride + static_cast<std::ptrdiff_t>(u >> 16);
    const std::int32_t lower = static_cast<std::int32_t>((v & 0xFFFF) * 255 >> 16);
    const std::int32_t right = product(static_cast<std::int32_t>(u >> 1 & 0x7FFF), weight);
    const std::int32_t bias = product(128 * 255, weight) + 1;
    const auto mixed = [&](std::ptrdiff_t place, int channel) {
        const Column texels = column(source, place, channel);
        return texels.top * (255 - lower) + texels.bottom * lower;
    };
    Steps steps;
    for (int channel = 0; channel < 4; channel++) {
        steps[channel] =
            static_cast<std::uint32_t>(product(mixed(offset, channel), weight - right) +
                                       product(mixed(offset + 1, channel), right) + bias);
    }
    blend(steps, target);
}

template <Column (*column)(const SpriteSource &, std::ptrdiff_t, int)>
void drawInsideRow(const SpriteSource &source, const SpriteStep &step, const SpriteRow &row,
                   std::int32_t weight) {
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
    const auto part = static_cast<std::int32_t>(weight);
    for (const SpriteRow *row = rows; row < rows + count; row++) {
        if (source.pairs) {
            drawInsideRow<prepared>(source, step, *row, part);
        } else {
            drawInsideRow<original>(source, step, *row, part);
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
            draw(source, clamped(u, source.lastU), clamped(v, source.lastV),
                 static_cast<std::int32_t>(row->weights[i]), row->pixels[i]);
        }
    }
}

void blendRow(const std::uint32_t *source, std::uint32_t *target, int count, std::uint32_t weight) {
    for (int i = 0; i < count; i++) {
        Steps steps;
        for (int channel = 0; channel < 4; channel++) {
            const std::uint32_t full = (source[i] >> 8 * channel & 255) * 255;
            steps[channel] = weight == 65536 ? full : (full * weight >> 16) + 1;
        }
        blend(steps, target[i]);
    }
}

void blendColor(std::uint32_t color, std::uint32_t *target, int count) {
    for (int i = 0; i < count; i++) {
        Steps steps;
        for (int channel = 0; channel < 4; channel++) {
            steps[channel] = (color >> 8 * channel & 255) * 255;
        }
        blend(steps, target[i]);
    }
}

} // namespace

const PixelKernels &PixelKernels::plain() {
    static constexpr PixelKernels kPlain{"plain", ::drawInside, ::drawEdges, ::blendRow,
                                         ::blendColor};
    return kPlain;
}
