#include "Platform/Compositor/PixelKernels.h"

#include <algorithm>

namespace {

constexpr std::int32_t kFullAlpha = 255 * 128;

// The four channels of what is drawn, negative and with 128 steps a level.
using Steps = std::int32_t[4];

/// Multiplies numbers with 15 fractional bits, and rounds to nearest.
std::int32_t product(std::int32_t a, std::int32_t b) { return (a * b + 0x4000) >> 15; }

void blend(const Steps &source, std::uint32_t &target) {
    const auto rest = static_cast<std::uint32_t>(kFullAlpha + source[3]);
    std::uint32_t result = 0;
    for (int channel = 0; channel < 4; ++channel) {
        const std::uint32_t level = target >> 8 * channel & 255;
        const auto below = static_cast<std::int32_t>(level * 257 * rest >> 16);
        const std::int32_t sum = std::min(below - source[channel], 32767);
        result |= static_cast<std::uint32_t>(std::min((sum + 64) >> 7, 255)) << 8 * channel;
    }
    target = result;
}

// The form of the source is a template argument, so that the loops do not check it for every texel.
using GetColumn = SpriteSource::Column (SpriteSource::*)(std::ptrdiff_t, int) const;
constexpr GetColumn kPrepared = &SpriteSource::preparedColumn;
constexpr GetColumn kOriginal = &SpriteSource::originalColumn;

template <GetColumn column>
void drawPixel(const SpriteSource &source, std::uint32_t u, std::uint32_t v, std::uint32_t weight,
               std::uint32_t &target) {
    const std::ptrdiff_t offset =
        static_cast<std::ptrdiff_t>(v >> 16) * source.stride + static_cast<std::ptrdiff_t>(u >> 16);
    const auto lower = static_cast<std::int32_t>(v >> 9 & 127);
    const auto left = static_cast<std::int32_t>((~u & 0xFFFF) * weight >> 16);
    const auto right = static_cast<std::int32_t>((u & 0xFFFF) * weight >> 16);
    const auto mixed = [&](std::ptrdiff_t place, int channel) {
        const SpriteSource::Column texels = (source.*column)(place, channel);
        return -(texels.top * (128 - lower) + texels.bottom * lower);
    };
    Steps steps;
    for (int channel = 0; channel < 4; ++channel) {
        steps[channel] =
            product(mixed(offset, channel), left) + product(mixed(offset + 1, channel), right);
    }
    blend(steps, target);
}

template <GetColumn column>
void drawInsideRow(const SpriteSource &source, const SpriteStep &step, const SpriteRow &row,
                   std::uint32_t weight) {
    std::uint32_t u = row.u;
    std::uint32_t v = row.v;
    for (int i = 0; i < row.count; ++i) {
        drawPixel<column>(source, u, v, weight, row.pixels[i]);
        u += static_cast<std::uint32_t>(step.u);
        v += static_cast<std::uint32_t>(step.v);
    }
}

void drawInside(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
                std::size_t count, std::uint32_t weight) {
    for (const SpriteRow *row = rows; row < rows + count; ++row) {
        if (source.pairs) {
            drawInsideRow<kPrepared>(source, step, *row, weight);
        } else {
            drawInsideRow<kOriginal>(source, step, *row, weight);
        }
    }
}

std::uint32_t clamped(std::uint32_t position, std::int32_t last) {
    return static_cast<std::uint32_t>(std::clamp(static_cast<std::int32_t>(position), 0, last));
}

void drawEdges(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
               std::size_t count) {
    for (const SpriteRow *row = rows; row < rows + count; ++row) {
        for (int i = 0; i < row->count; ++i) {
            const std::uint32_t u = row->u + static_cast<std::uint32_t>(i) * step.u;
            const std::uint32_t v = row->v + static_cast<std::uint32_t>(i) * step.v;
            const auto draw = source.pairs ? drawPixel<kPrepared> : drawPixel<kOriginal>;
            draw(source, clamped(u, source.lastU), clamped(v, source.lastV), row->weights[i],
                 row->pixels[i]);
        }
    }
}

/// The weight is from -32768, which is full weight, to 0.
void blendPixel(std::uint32_t source, std::int32_t negativeWeight, std::uint32_t &target) {
    Steps steps;
    for (int channel = 0; channel < 4; ++channel) {
        steps[channel] = product((source >> 8 * channel & 255) << 7, negativeWeight);
    }
    blend(steps, target);
}

void blendRow(const std::uint32_t *source, std::uint32_t *target, int count, std::uint32_t weight) {
    for (int i = 0; i < count; ++i) {
        blendPixel(source[i], -static_cast<std::int32_t>(weight / 2), target[i]);
    }
}

void blendColor(std::uint32_t color, std::uint32_t *target, int count) {
    for (int i = 0; i < count; ++i) {
        blendPixel(color, -32768, target[i]);
    }
}

} // namespace

#define LUMIVERA_WORDS(even, odd)                                                                  \
    { even, odd, even, odd, even, odd, even, odd }
alignas(16) const std::int16_t PixelTables::kFullAlpha[8] = LUMIVERA_WORDS(::kFullAlpha,
                                                                           ::kFullAlpha);
alignas(16) const std::int16_t PixelTables::kToLevels[8] = LUMIVERA_WORDS(256, 256);
alignas(16) const std::int16_t PixelTables::kUpperRow[8] = LUMIVERA_WORDS(-1, 0);
#undef LUMIVERA_WORDS

alignas(16) const std::uint8_t PixelTables::kRowsOf[4][16] = {
    {0, 2, 0, 2, 0, 2, 0, 2, 0, 2, 0, 2, 0, 2, 0, 2},
    {4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6},
    {8, 10, 8, 10, 8, 10, 8, 10, 8, 10, 8, 10, 8, 10, 8, 10},
    {12, 14, 12, 14, 12, 14, 12, 14, 12, 14, 12, 14, 12, 14, 12, 14}};

alignas(16) const std::uint8_t PixelTables::kColumnsOf[4][16] = {
    {0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3},
    {4, 5, 4, 5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, 6, 7},
    {8, 9, 8, 9, 8, 9, 8, 9, 10, 11, 10, 11, 10, 11, 10, 11},
    {12, 13, 12, 13, 12, 13, 12, 13, 14, 15, 14, 15, 14, 15, 14, 15}};

alignas(16) const std::uint8_t PixelTables::kAlpha[16] = {6,  7,  6,  7,  6,  7,  6,  7,
                                                          14, 15, 14, 15, 14, 15, 14, 15};

const PixelKernels &PixelKernels::plain() {
    static constexpr PixelKernels kPlain{"plain", ::drawInside, ::drawEdges, ::blendRow,
                                         ::blendColor};
    return kPlain;
}
