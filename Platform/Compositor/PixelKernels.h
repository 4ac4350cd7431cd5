#pragma once

#include "Platform/Foundation/NSObject.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Texels to sample. Not owned.
struct SpriteSource {
    /// Prepared ones: 8 bytes a texel, each channel's byte followed by that of the texel below;
    /// `stride` counts texels, of which there is one more a row than the picture has.
    const std::uint8_t *pairs = nullptr;
    /// Without prepared ones: the picture's own pixels, at least 2 × 2.
    const std::uint32_t *pixels = nullptr;
    std::int32_t stride = 0;
    /// The farthest position that may be sampled.
    std::int32_t lastU = 0;
    std::int32_t lastV = 0;
};

/// What a sprite's rows have in common: how far one pixel lies from the next.
struct SpriteStep {
    std::int32_t u = 0;
    std::int32_t v = 0;
};

/// Pixels side by side, and where among the texel centres the first one lies. Positions have 16
/// fractional bits and are of the middle of texels: 0 is the first one's.
struct SpriteRow {
    static constexpr std::int32_t kMostPixels = 128;

    std::uint32_t *pixels = nullptr;
    /// From 1 to kMostPixels.
    std::int32_t count = 0;
    std::uint32_t u = 0;
    std::uint32_t v = 0;
    /// Of kSpriteWeight, one a pixel; only where drawEdges() is asked.
    const std::uint32_t *weights = nullptr;

    /// Its pixels [from, to), which may be none.
    SpriteRow part(const SpriteStep &step, std::int32_t from, std::int32_t to) const {
        const auto along = static_cast<std::uint32_t>(from);
        return {pixels + from, to - from, u + along * static_cast<std::uint32_t>(step.u),
                v + along * static_cast<std::uint32_t>(step.v), weights};
    }
};

/// The loops over pixels, in one of the forms that the processor may have. Every form writes the
/// very same bits: between the first multiplication and the last rounding, channels are 16-bit
/// numbers of 128 steps a level, and what is drawn is kept negative (see Docs/compositor.md).
struct PLATFORM_EXPORT PixelKernels {
    /// Full weight of what drawInside() and drawEdges() draw.
    static constexpr std::uint32_t kSpriteWeight = 32768;

    const char *name;

    /// Blends rows of bilinear samples. All four texels around each pixel must exist.
    void (*drawInside)(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
                       std::size_t count, std::uint32_t weight);

    /// The same with a weight for each pixel; positions beyond the picture are moved to its edge.
    void (*drawEdges)(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
                      std::size_t count);

    /// Blends pixels over others; `weight` is of 65536.
    void (*blendRow)(const std::uint32_t *source, std::uint32_t *target, int count,
                     std::uint32_t weight);

    /// Blends one premultiplied colour over pixels.
    void (*blendColor)(std::uint32_t color, std::uint32_t *target, int count);

    /// Plain C++ for every processor; it says what the others compute.
    static const PixelKernels &plain();

    /// The fastest one that this processor runs.
    static const PixelKernels &best();

    /// Every one that this processor runs, the fastest first and plain() last. For tests and
    /// benchmarks: no other thread may call best() for the first time meanwhile.
    static std::vector<const PixelKernels *> all();
};
