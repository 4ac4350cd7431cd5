#include "Platform/Compositor/PixelKernels.h"

// Scalable vectors are left out: shuffles here work on blocks of 128 bits, as many as there are.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Compositor/PixelKernels.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

const PixelKernels *kernels() { return &PixelKernels::plain(); }

#else

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_MAX_BYTES >= 32
// Wider vectors leave more lanes idle at the end of a petal's short rows than they save.
constexpr std::size_t kLanes = 8;
#else
constexpr std::size_t kLanes = 4;
#endif

constexpr hn::CappedTag<std::uint32_t, kLanes> kPixels;
constexpr hn::CappedTag<std::int32_t, kLanes> kNumbers;
constexpr hn::Repartition<std::uint16_t, decltype(kPixels)> kWords;
constexpr hn::Repartition<std::int16_t, decltype(kPixels)> kSigned;
constexpr hn::Repartition<std::uint8_t, decltype(kPixels)> kBytes;
constexpr hn::Repartition<std::uint64_t, decltype(kPixels)> kPairs;

using Pixels = hn::Vec<decltype(kPixels)>;
using Numbers = hn::Vec<decltype(kNumbers)>;
using Words = hn::Vec<decltype(kWords)>;
using Signed = hn::Vec<decltype(kSigned)>;
using Bytes = hn::Vec<decltype(kBytes)>;

// ---- What processors do in different ways

#if HWY_ARCH_X86

HWY_INLINE __m128i multiplyPairs(__m128i a, __m128i b) { return _mm_maddubs_epi16(a, b); }
HWY_INLINE __m128i packWords(__m128i a, __m128i b) { return _mm_packus_epi16(a, b); }
HWY_INLINE __m128i addProducts(__m128i a, __m128i b) { return _mm_madd_epi16(a, b); }
#if HWY_MAX_BYTES >= 32
HWY_INLINE __m256i multiplyPairs(__m256i a, __m256i b) { return _mm256_maddubs_epi16(a, b); }
HWY_INLINE __m256i packWords(__m256i a, __m256i b) { return _mm256_packus_epi16(a, b); }
HWY_INLINE __m256i addProducts(__m256i a, __m256i b) { return _mm256_madd_epi16(a, b); }
#endif

// Bytes of the first, which have no sign, times those of the second, which do, added by twos.
HWY_INLINE Signed mixed(Bytes weights, Bytes texels) {
    return Signed{multiplyPairs(weights.raw, texels.raw)};
}

// Words as bytes: those of `low` and then those of `high`, in each block.
HWY_INLINE Bytes packed(Words low, Words high) { return Bytes{packWords(low.raw, high.raw)}; }

// column + row × stride, where the numbers hold these in their low and high halves.
HWY_INLINE Numbers places(Numbers columnAndRow, std::int32_t stride) {
    return Numbers{addProducts(columnAndRow.raw, hn::Set(kNumbers, stride << 16 | 1).raw)};
}

#else

HWY_INLINE Signed mixed(Bytes weights, Bytes texels) {
    const Signed w = hn::BitCast(kSigned, weights);
    const Signed t = hn::BitCast(kSigned, texels);
    const Signed low = hn::And(w, hn::Set(kSigned, 255));
    const Signed high = hn::BitCast(kSigned, hn::ShiftRight<8>(hn::BitCast(kWords, weights)));
    return hn::Add(hn::Mul(low, hn::ShiftRight<8>(hn::ShiftLeft<8>(t))),
                   hn::Mul(high, hn::ShiftRight<8>(t)));
}

HWY_INLINE Bytes packed(Words low, Words high) {
    constexpr hn::Half<decltype(kBytes)> kHalf;
    return hn::Combine(kBytes, hn::DemoteTo(kHalf, hn::BitCast(kSigned, high)),
                       hn::DemoteTo(kHalf, hn::BitCast(kSigned, low)));
}

HWY_INLINE Numbers places(Numbers columnAndRow, std::int32_t stride) {
    const Numbers column = hn::ShiftRight<16>(hn::ShiftLeft<16>(columnAndRow));
    const Numbers row = hn::ShiftRight<16>(columnAndRow);
    return hn::Add(column, hn::Mul(row, hn::Set(kNumbers, stride)));
}

#endif

// ---- Bytes of every block by their place in it

alignas(16) constexpr std::uint8_t kLane[4][16] = {
    {0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1},
    {4, 5, 4, 5, 4, 5, 4, 5, 4, 5, 4, 5, 4, 5, 4, 5},
    {8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9},
    {12, 13, 12, 13, 12, 13, 12, 13, 12, 13, 12, 13, 12, 13, 12, 13}};
alignas(16) constexpr std::uint8_t kHalves[4][16] = {
    {0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3},
    {4, 5, 4, 5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, 6, 7},
    {8, 9, 8, 9, 8, 9, 8, 9, 10, 11, 10, 11, 10, 11, 10, 11},
    {12, 13, 12, 13, 12, 13, 12, 13, 14, 15, 14, 15, 14, 15, 14, 15}};
alignas(16) constexpr std::uint8_t kTwoLanes[2][16] = {
    {0, 1, 0, 1, 0, 1, 0, 1, 4, 5, 4, 5, 4, 5, 4, 5},
    {8, 9, 8, 9, 8, 9, 8, 9, 12, 13, 12, 13, 12, 13, 12, 13}};
alignas(16) constexpr std::uint8_t kAlpha[16] = {6,  7,  6,  7,  6,  7,  6,  7,
                                                 14, 15, 14, 15, 14, 15, 14, 15};

template <class V> HWY_INLINE Bytes picked(V from, const std::uint8_t *places) {
    return hn::TableLookupBytes(hn::BitCast(kBytes, from), hn::LoadDup128(kBytes, places));
}

// ---- Blending: words are channels of two pixels in each block, 255 steps a level

HWY_INLINE Words blended(Words source, Words target256) {
    const Words alpha = hn::BitCast(kWords, picked(source, kAlpha));
    const Words rest = hn::SaturatedSub(hn::Set(kWords, 255 * 255), alpha);
    const Words below = hn::MulHigh(target256, hn::Add(rest, hn::ShiftRight<8>(rest)));
    const Words sum =
        hn::SaturatedAdd(hn::SaturatedAdd(source, below), hn::Set(kWords, std::uint16_t{128}));
    return hn::MulHigh(sum, hn::Set(kWords, std::uint16_t{257}));
}

HWY_INLINE Pixels over(Words low, Words high, Pixels target) {
    const Bytes zero = hn::Zero(kBytes);
    const Bytes below = hn::BitCast(kBytes, target);
    return hn::BitCast(
        kPixels,
        packed(blended(low, hn::BitCast(kWords, hn::InterleaveLower(kBytes, zero, below))),
               blended(high, hn::BitCast(kWords, hn::InterleaveUpper(kBytes, zero, below)))));
}

// The first pixels of a vector. Processors with masks use them; others copy.
HWY_INLINE Pixels loadSome(const std::uint32_t *from, std::size_t count) {
    if constexpr (kLanes > 4) {
        return hn::MaskedLoad(hn::FirstN(kPixels, count), kPixels, from);
    }
    HWY_ALIGN std::uint32_t some[kLanes] = {};
    for (std::size_t i = 0; i < count; i++) {
        some[i] = from[i];
    }
    return hn::Load(kPixels, some);
}

HWY_INLINE void storeSome(Pixels pixels, std::uint32_t *to, std::size_t count) {
    if constexpr (kLanes > 4) {
        hn::BlendedStore(pixels, hn::FirstN(kPixels, count), kPixels, to);
        return;
    }
    HWY_ALIGN std::uint32_t some[kLanes];
    hn::Store(pixels, kPixels, some);
    for (std::size_t i = 0; i < count; i++) {
        to[i] = some[i];
    }
}

// ---- Texels: those of every fourth pixel in one vector, a pixel in each block

struct Prepared {
    const std::uint8_t *texels;

    explicit Prepared(const SpriteSource &source)
        : texels(reinterpret_cast<const std::uint8_t *>(source.pairs)) {}

    template <class D> HWY_INLINE hn::Vec<D> load(D d, const std::int32_t *offsets) const {
        if constexpr (hn::MaxLanes(D()) == 16) {
            return hn::LoadU(d, texels + std::ptrdiff_t{*offsets} * 8);
        } else {
            constexpr hn::Half<D> kHalf;
            return hn::Combine(d, load(kHalf, offsets + 4), load(kHalf, offsets));
        }
    }
};

struct Original {
    const std::uint32_t *pixels;
    std::ptrdiff_t stride;

    explicit Original(const SpriteSource &source) : pixels(source.pixels), stride(source.stride) {}

    template <class D> HWY_INLINE hn::Vec<D> load(D d, const std::int32_t *offsets) const {
        if constexpr (hn::MaxLanes(D()) == 16) {
            constexpr hn::Half<D> kHalf;
            const std::uint32_t *const top = pixels + *offsets;
            const auto row = [&](const std::uint32_t *from) HWY_ATTR {
                const auto *const bytes = reinterpret_cast<const std::uint8_t *>(from);
                return hn::ZeroExtendVector(d, hn::LoadU(kHalf, bytes));
            };
            return hn::Xor(hn::InterleaveLower(d, row(top), row(top + stride)),
                           hn::Set(d, std::uint8_t{128}));
        } else {
            constexpr hn::Half<D> kHalf;
            return hn::Combine(d, load(kHalf, offsets + 4), load(kHalf, offsets));
        }
    }
};

// ---- Sampling

// What pixels take of the four texels around them. Weights are those of the whole in both halves.
struct Taps {
    Words rows;     // in the low half: of the upper and of the lower texel, as bytes
    Signed columns; // in the halves: of the left and of the right texel

    HWY_INLINE Taps(Numbers u, Numbers v, Signed weights) {
        const Words fraction = hn::BitCast(kWords, v);
        const Words one = hn::Set(kWords, std::uint16_t{1});
        const Words lower =
            hn::Add(hn::MulHigh(fraction, hn::Set(kWords, std::uint16_t{255})), one);
        rows = hn::Sub(hn::ShiftLeft<8>(lower), lower);
        const Words across = hn::ShiftRight<1>(hn::BitCast(kWords, hn::ShiftLeft<16>(u)));
        const Pixels right =
            hn::BitCast(kPixels, hn::MulFixedPoint15(hn::BitCast(kSigned, across), weights));
        const Pixels whole = hn::And(hn::BitCast(kPixels, weights), hn::Set(kPixels, 0xFFFFU));
        columns = hn::BitCast(kSigned, hn::Sub(hn::Add(whole, right), hn::ShiftRight<16>(right)));
    }
};

template <int lane, class Texels>
HWY_INLINE Signed sampled(const Texels &texels, const std::int32_t *offsets, const Taps &taps) {
    const Signed column =
        mixed(picked(taps.rows, kLane[lane]), texels.load(kBytes, offsets + lane));
    return hn::MulFixedPoint15(column, hn::BitCast(kSigned, picked(taps.columns, kHalves[lane])));
}

// The left and right columns of two pixels, added.
HWY_INLINE Words joined(Signed first, Signed second, Signed bias) {
    const auto a = hn::BitCast(kPairs, first);
    const auto b = hn::BitCast(kPairs, second);
    const Signed left = hn::BitCast(kSigned, hn::InterleaveLower(kPairs, a, b));
    const Signed right = hn::BitCast(kSigned, hn::InterleaveUpper(kPairs, a, b));
    return hn::BitCast(kWords, hn::Add(hn::Add(left, right), bias));
}

HWY_INLINE Signed biasOf(Signed weights) {
    return hn::Add(hn::MulFixedPoint15(weights, hn::Set(kSigned, 128 * 255)), hn::Set(kSigned, 1));
}

struct Bias {
    Signed low;
    Signed high;
};

// Vectors of pixels from texels: `count` of them count, and no others are touched.
template <class Texels>
HWY_INLINE void drawSome(const Texels &texels, std::int32_t stride, Numbers u, Numbers v,
                         Signed weights, const Bias &bias, std::uint32_t *pixels,
                         std::size_t count) {
    const Numbers columnAndRow = hn::BitCast(
        kNumbers, hn::OddEven(hn::BitCast(kWords, v), hn::BitCast(kWords, hn::ShiftRight<16>(u))));
    Numbers offset = places(columnAndRow, stride);
    if (count < kLanes) {
        offset = hn::IfThenElseZero(hn::FirstN(kNumbers, count), offset);
    }
    HWY_ALIGN std::int32_t offsets[kLanes];
    hn::Store(offset, kNumbers, offsets);
    const Taps taps(u, v, weights);
    const Words low =
        joined(sampled<0>(texels, offsets, taps), sampled<1>(texels, offsets, taps), bias.low);
    const Words high =
        joined(sampled<2>(texels, offsets, taps), sampled<3>(texels, offsets, taps), bias.high);
    if (count < kLanes) {
        storeSome(over(low, high, loadSome(pixels, count)), pixels, count);
    } else {
        hn::StoreU(over(low, high, hn::LoadU(kPixels, pixels)), kPixels, pixels);
    }
}

HWY_INLINE Numbers positions(std::uint32_t first, std::int32_t step) {
    return hn::Add(hn::Set(kNumbers, static_cast<std::int32_t>(first)),
                   hn::Mul(hn::Iota(kNumbers, 0), hn::Set(kNumbers, step)));
}

HWY_INLINE std::int32_t stepOfVector(std::int32_t step) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(step) * kLanes);
}

template <class Texels>
HWY_INLINE void drawInsideRows(const SpriteSource &source, const SpriteStep &step,
                               const SpriteRow *rows, std::size_t count, std::uint32_t weight) {
    const Texels texels(source);
    const Signed weights = hn::Set(kSigned, static_cast<std::int16_t>(weight));
    const Bias bias{biasOf(weights), biasOf(weights)};
    const Numbers stepU = hn::Set(kNumbers, stepOfVector(step.u));
    const Numbers stepV = hn::Set(kNumbers, stepOfVector(step.v));
    for (const SpriteRow *row = rows; row < rows + count; row++) {
        Numbers u = positions(row->u, step.u);
        Numbers v = positions(row->v, step.v);
        std::uint32_t *pixel = row->pixels;
        std::size_t left = static_cast<std::size_t>(row->count);
        for (; left >= kLanes; left -= kLanes, pixel += kLanes) {
            drawSome(texels, source.stride, u, v, weights, bias, pixel, kLanes);
            u = hn::Add(u, stepU);
            v = hn::Add(v, stepV);
        }
        if (left > 0) {
            drawSome(texels, source.stride, u, v, weights, bias, pixel, left);
        }
    }
}

void drawInside(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
                std::size_t count, std::uint32_t weight) {
    if (source.pairs) {
        drawInsideRows<Prepared>(source, step, rows, count, weight);
    } else {
        drawInsideRows<Original>(source, step, rows, count, weight);
    }
}

template <class Texels>
HWY_INLINE void drawEdgeRow(const SpriteSource &source, const SpriteStep &step,
                            const SpriteRow &row) {
    const Texels texels(source);
    const Numbers zero = hn::Zero(kNumbers);
    const Numbers lastU = hn::Set(kNumbers, source.lastU);
    const Numbers lastV = hn::Set(kNumbers, source.lastV);
    Numbers u = positions(row.u, step.u);
    Numbers v = positions(row.v, step.v);
    for (std::size_t i = 0; i < static_cast<std::size_t>(row.count); i += kLanes) {
        const std::size_t some = HWY_MIN(static_cast<std::size_t>(row.count) - i, kLanes);
        const Pixels part = loadSome(row.weights + i, some);
        const Signed weights = hn::BitCast(kSigned, hn::Or(part, hn::ShiftLeft<16>(part)));
        const Signed bias = biasOf(weights);
        drawSome(texels, source.stride, hn::Min(hn::Max(u, zero), lastU),
                 hn::Min(hn::Max(v, zero), lastV), weights,
                 {hn::BitCast(kSigned, picked(bias, kTwoLanes[0])),
                  hn::BitCast(kSigned, picked(bias, kTwoLanes[1]))},
                 row.pixels + i, some);
        u = hn::Add(u, hn::Set(kNumbers, stepOfVector(step.u)));
        v = hn::Add(v, hn::Set(kNumbers, stepOfVector(step.v)));
    }
}

void drawEdges(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
               std::size_t count) {
    for (const SpriteRow *row = rows; row < rows + count; row++) {
        if (source.pairs) {
            drawEdgeRow<Prepared>(source, step, *row);
        } else {
            drawEdgeRow<Original>(source, step, *row);
        }
    }
}

// ---- Rows of pixels

HWY_INLINE Words stepsOf(Words source256) {
    return hn::Sub(source256, hn::ShiftRight<8>(source256));
}

template <bool fades> HWY_INLINE Pixels laidOver(Pixels source, Words weight, Pixels target) {
    const Bytes bytes = hn::BitCast(kBytes, source);
    const Bytes zero = hn::Zero(kBytes);
    Words low = stepsOf(hn::BitCast(kWords, hn::InterleaveLower(kBytes, zero, bytes)));
    Words high = stepsOf(hn::BitCast(kWords, hn::InterleaveUpper(kBytes, zero, bytes)));
    if constexpr (fades) {
        const Words half = hn::Set(kWords, std::uint16_t{1}); // a tie is rounded up, as elsewhere
        low = hn::Add(hn::MulHigh(low, weight), half);
        high = hn::Add(hn::MulHigh(high, weight), half);
    }
    return over(low, high, target);
}

template <bool fades>
HWY_INLINE void blendRowWith(const std::uint32_t *source, std::uint32_t *target, int count,
                             std::uint32_t weight) {
    const Words weights = hn::Set(kWords, static_cast<std::uint16_t>(weight));
    std::size_t left = static_cast<std::size_t>(count);
    for (; left >= kLanes; left -= kLanes, source += kLanes, target += kLanes) {
        const Pixels pixels = hn::LoadU(kPixels, source);
        if (hn::AllTrue(kPixels, hn::Eq(pixels, hn::Zero(kPixels)))) {
            continue;
        }
        hn::StoreU(laidOver<fades>(pixels, weights, hn::LoadU(kPixels, target)), kPixels, target);
    }
    if (left > 0) {
        storeSome(laidOver<fades>(loadSome(source, left), weights, loadSome(target, left)), target,
                  left);
    }
}

void blendRow(const std::uint32_t *source, std::uint32_t *target, int count, std::uint32_t weight) {
    if (weight < 65536) {
        blendRowWith<true>(source, target, count, weight);
    } else {
        blendRowWith<false>(source, target, count, weight);
    }
}

void blendColor(std::uint32_t color, std::uint32_t *target, int count) {
    const Pixels pixels = hn::Set(kPixels, color);
    const Words none = hn::Zero(kWords);
    std::size_t left = static_cast<std::size_t>(count);
    for (; left >= kLanes; left -= kLanes, target += kLanes) {
        hn::StoreU(laidOver<false>(pixels, none, hn::LoadU(kPixels, target)), kPixels, target);
    }
    if (left > 0) {
        storeSome(laidOver<false>(pixels, none, loadSome(target, left)), target, left);
    }
}

const PixelKernels *kernels() {
    static const PixelKernels kKernels{hwy::TargetName(HWY_TARGET), drawInside, drawEdges, blendRow,
                                       blendColor};
    return &kKernels;
}

#endif

} // namespace HWY_NAMESPACE
} // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace {

HWY_EXPORT(kernels);

} // namespace

const PixelKernels &PixelKernels::best() {
    static const PixelKernels &kBest = *HWY_DYNAMIC_DISPATCH(kernels)();
    return kBest;
}

std::vector<const PixelKernels *> PixelKernels::all() {
    std::vector<const PixelKernels *> result;
    [[maybe_unused]] const auto add = [&](std::int64_t target, const PixelKernels *kernels) {
        if (hwy::SupportedTargets() & target) {
            result.push_back(kernels);
        }
    };
#if HWY_TARGETS & HWY_AVX3
    add(HWY_AVX3, N_AVX3::kernels());
#endif
#if HWY_TARGETS & HWY_AVX2
    add(HWY_AVX2, N_AVX2::kernels());
#endif
#if HWY_TARGETS & HWY_SSE4
    add(HWY_SSE4, N_SSE4::kernels());
#endif
#if HWY_TARGETS & HWY_SSSE3
    add(HWY_SSSE3, N_SSSE3::kernels());
#endif
#if HWY_TARGETS & HWY_NEON
    add(HWY_NEON, N_NEON::kernels());
#endif
    result.push_back(&plain());
    return result;
}

#endif
