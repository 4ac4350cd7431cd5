#pragma once

#include "Platform/Foundation/NSObject.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Texels to sample, in one of two forms. Not owned.
struct SpriteSource {
    /// Prepared texels, or null: 8 bytes a texel, each channel's byte followed by the same channel
    /// of the texel below. A row has one texel more than the picture.
    const std::uint8_t *pairs = nullptr;
    /// Where there are no prepared texels: the picture's own pixels, at least 2 × 2.
    const std::uint32_t *pixels = nullptr;
    /// Texels from one row to the next.
    std::int32_t stride = 0;
    /// The largest positions that may be sampled.
    std::int32_t lastU = 0;
    std::int32_t lastV = 0;

    /// One channel of a texel and of the texel below it.
    struct Column {
        std::int32_t top;
        std::int32_t bottom;
    };

    /// Offsets count texels; channel 0 is blue, 3 is alpha.
    Column column(std::ptrdiff_t offset, int channel) const {
        return pairs ? preparedColumn(offset, channel) : originalColumn(offset, channel);
    }
    Column preparedColumn(std::ptrdiff_t offset, int channel) const {
        const std::uint8_t *const levels = pairs + offset * 8 + channel * 2;
        return {levels[0], levels[1]};
    }
    Column originalColumn(std::ptrdiff_t offset, int channel) const {
        const std::uint32_t *const texel = pixels + offset;
        return {static_cast<std::int32_t>(texel[0] >> 8 * channel & 255),
                static_cast<std::int32_t>(texel[stride] >> 8 * channel & 255)};
    }
};

/// The distance between the texels of two neighbouring pixels of a row, the same for all rows of a
/// sprite. It has 16 fractional bits.
struct SpriteStep {
    std::int32_t u = 0;
    std::int32_t v = 0;
};

/// Neighbouring pixels of a row, and the position of the first one among the texels. Positions have
/// 16 fractional bits; 0 is the centre of the first texel.
struct SpriteRow {
    static constexpr std::int32_t kMaxPixels = 128;

    std::uint32_t *pixels = nullptr;
    /// From 1 to kMaxPixels.
    std::int32_t count = 0;
    std::uint32_t u = 0;
    std::uint32_t v = 0;
    /// One weight a pixel, a fraction of kSpriteWeight; only for drawEdges().
    const std::uint32_t *weights = nullptr;

    /// The row's pixels [from, to), which may be none.
    SpriteRow part(const SpriteStep &step, std::int32_t from, std::int32_t to) const {
        const auto along = static_cast<std::uint32_t>(from);
        return {pixels + from, to - from, u + along * static_cast<std::uint32_t>(step.u),
                v + along * static_cast<std::uint32_t>(step.v), weights};
    }
};

/// Constants of the vector loops, for every 16 bytes of a vector. They are defined in another
/// source file than the loops: a compiler that sees their values builds them anew in every turn of
/// a loop, which takes longer than loading them.
struct PixelTables {
    alignas(16) static const std::int16_t kFullAlpha[8];
    alignas(16) static const std::int16_t kToLevels[8];

    /// Added to the 7 bits of fractions, for the rows of texels: -1 and 0 alternately.
    alignas(16) static const std::int16_t kUpperRow[8];

    /// Byte shuffles for the four pixels of a block. This one repeats bytes 0 and 2 of a pixel's
    /// lane for all pairs of texels.
    alignas(16) static const std::uint8_t kRowsOf[4][16];

    /// Repeats a lane's low half for the left column, and its high half for the right one.
    alignas(16) static const std::uint8_t kColumnsOf[4][16];

    /// Repeats the alphas of two pixels with 16 bits a channel for all their channels.
    alignas(16) static const std::uint8_t kAlpha[16];
};

/// The loops over pixels, compiled for one kind of processor. All kinds write the same bits:
/// between the first multiplication and the last rounding, channels are 16-bit numbers of 128 steps
/// a level, and what is drawn is kept negative (see Docs/compositor.md).
struct PLATFORM_EXPORT PixelKernels {
    /// The full weight of drawInside() and drawEdges().
    static constexpr std::uint32_t kSpriteWeight = 32768;

    const char *name;

    /// Blends rows of bilinear samples. All four texels around each pixel must exist.
    void (*drawInside)(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
                       std::size_t count, std::uint32_t weight);

    /// Blends rows of bilinear samples with a weight for each pixel. Positions beyond the picture
    /// are moved to its edge.
    void (*drawEdges)(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
                      std::size_t count);

    /// Blends pixels over others; `weight` is a fraction of PixelArithmetic::kFullWeight.
    void (*blendRow)(const std::uint32_t *source, std::uint32_t *target, int count,
                     std::uint32_t weight);

    /// Blends one premultiplied colour over pixels.
    void (*blendColor)(std::uint32_t color, std::uint32_t *target, int count);

    /// Plain C++ for every processor. It defines what the others compute.
    static const PixelKernels &plain();

    /// The fastest one that this processor runs.
    static const PixelKernels &best();

    /// All that this processor runs, the fastest first and plain() last. For tests and benchmarks:
    /// no other thread may call best() for the first time meanwhile.
    static std::vector<const PixelKernels *> all();
};
