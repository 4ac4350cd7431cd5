#include "Platform/Compositor/PixelKernels.h"

// No scalable vectors: the shuffles below need a fixed number of blocks of 128 bits.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Compositor/PixelKernels.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

// SSE2 lacks the shuffle and the multiplication of bytes that the loops are built on. Highway 1.0
// does not define that target.
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128 || HWY_TARGET == HWY_SSE2

const PixelKernels *kernels() { return &PixelKernels::plain(); }

#else

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_MAX_BYTES >= 32
/// Wider vectors leave more lanes idle at the end of a petal's short rows than they save.
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

// ---- Instructions that differ between processors

#if HWY_ARCH_X86

HWY_INLINE __m128i multiplyPairs(__m128i a, __m128i b) { return _mm_maddubs_epi16(a, b); }
HWY_INLINE __m128i packWords(__m128i a, __m128i b) { return _mm_packus_epi16(a, b); }
HWY_INLINE __m128i addProducts(__m128i a, __m128i b) { return _mm_madd_epi16(a, b); }
#if HWY_MAX_BYTES >= 32
HWY_INLINE __m256i multiplyPairs(__m256i a, __m256i b) { return _mm256_maddubs_epi16(a, b); }
HWY_INLINE __m256i packWords(__m256i a, __m256i b) { return _mm256_packus_epi16(a, b); }
HWY_INLINE __m256i addProducts(__m256i a, __m256i b) { return _mm256_madd_epi16(a, b); }
#endif

/// Multiplies unsigned bytes with signed ones, and adds neighbouring products.
HWY_INLINE Signed mixed(Bytes texels, Signed weights) {
    return Signed{multiplyPairs(texels.raw, weights.raw)};
}

/// Saturates words to bytes: in each block those of `low` and then those of `high`.
HWY_INLINE Bytes packed(Signed low, Signed high) { return Bytes{packWords(low.raw, high.raw)}; }

/// Computes column + row × stride of numbers that hold the column in their low half and the row in
/// their high half.
HWY_INLINE Numbers places(Numbers columnAndRow, std::int32_t stride) {
    return Numbers{addProducts(columnAndRow.raw, hn::Set(kNumbers, stride << 16 | 1).raw)};
}

#else

HWY_INLINE Signed mixed(Bytes texels, Signed weights) {
    const Words t = hn::BitCast(kWords, texels);
    const Signed top = hn::BitCast(kSigned, hn::And(t, hn::Set(kWords, std::uint16_t{255})));
    const Signed bottom = hn::BitCast(kSigned, hn::ShiftRight<8>(t));
    return hn::Add(hn::Mul(top, hn::ShiftRight<8>(hn::ShiftLeft<8>(weights))),
                   hn::Mul(bottom, hn::ShiftRight<8>(weights)));
}

HWY_INLINE Bytes packed(Signed low, Signed high) {
    constexpr hn::Half<decltype(kBytes)> kHalf;
    return hn::Combine(kBytes, hn::DemoteTo(kHalf, high), hn::DemoteTo(kHalf, low));
}

HWY_INLINE Numbers places(Numbers columnAndRow, std::int32_t stride) {
    const Numbers column = hn::ShiftRight<16>(hn::ShiftLeft<16>(columnAndRow));
    const Numbers row = hn::ShiftRight<16>(columnAndRow);
    return hn::Add(column, hn::Mul(row, hn::Set(kNumbers, stride)));
}

#endif

HWY_INLINE Signed words(const std::int16_t *constant) { return hn::LoadDup128(kSigned, constant); }

template <class V> HWY_INLINE Signed picked(V from, const std::uint8_t *places) {
    return hn::BitCast(
        kSigned, hn::TableLookupBytes(hn::BitCast(kBytes, from), hn::LoadDup128(kBytes, places)));
}

// ---- Blending. Words are the channels of two pixels in each block, with 128 steps a level. What
// is drawn is negative, because the weights of its texels are.

/// The weight of the pixels below: what the alpha of `source` leaves.
HWY_INLINE Words restOf(Signed source) {
    return hn::BitCast(
        kWords, hn::Add(words(PixelTables::kFullAlpha), picked(source, PixelTables::kAlpha)));
}

/// `target` holds every byte twice.
HWY_INLINE Signed blended(Signed source, Words rest, Bytes target) {
    const Signed below = hn::BitCast(kSigned, hn::MulHigh(hn::BitCast(kWords, target), rest));
    return hn::MulFixedPoint15(hn::SaturatedSub(below, source), words(PixelTables::kToLevels));
}

HWY_INLINE Pixels blendedOver(Signed low, Signed high, Words lowRest, Words highRest,
                              Pixels target) {
    const Bytes below = hn::BitCast(kBytes, target);
    return hn::BitCast(kPixels,
                       packed(blended(low, lowRest, hn::InterleaveLower(kBytes, below, below)),
                              blended(high, highRest, hn::InterleaveUpper(kBytes, below, below))));
}

HWY_INLINE Pixels blendedOver(Signed low, Signed high, Pixels target) {
    return blendedOver(low, high, restOf(low), restOf(high), target);
}

/// Loads the first pixels of a vector: with a mask where processors have masks, else by copying.
HWY_INLINE Pixels loadSome(const std::uint32_t *from, std::size_t count) {
    if constexpr (kLanes > 4) {
        return hn::MaskedLoad(hn::FirstN(kPixels, count), kPixels, from);
    }
    HWY_ALIGN std::uint32_t some[kLanes] = {};
    for (std::size_t i = 0; i < count; ++i) {
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
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = some[i];
    }
}

// ---- Texels: a vector holds those of every fourth pixel, one pixel in each block

struct Prepared {
    const std::uint8_t *texels;

    explicit Prepared(const SpriteSource &source) : texels(source.pairs) {}

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
            return hn::InterleaveLower(d, row(top), row(top + stride));
        } else {
            constexpr hn::Half<D> kHalf;
            return hn::Combine(d, load(kHalf, offsets + 4), load(kHalf, offsets));
        }
    }
};

// ---- Sampling

/// The fraction of a position in a lane's high half, and one minus the fraction in its low half.
/// Both can be advanced by fractionStep() instead of computed anew.
HWY_INLINE Words fractionsOf(Numbers positions) {
    const Words both =
        hn::BitCast(kWords, hn::OddEven(hn::BitCast(kWords, hn::ShiftLeft<16>(positions)),
                                        hn::BitCast(kWords, hn::Not(positions))));
    return both;
}

HWY_INLINE Words fractionStep(std::int32_t step) {
    const auto forwards = static_cast<std::uint32_t>(step) << 16;
    const auto backwards = (0U - static_cast<std::uint32_t>(step)) & 0xFFFFU;
    return hn::BitCast(kWords, hn::Set(kPixels, forwards | backwards));
}

/// The weights of the four texels around each pixel.
struct Taps {
    Signed rows;   // negative, in the low bytes of both halves: of the upper and the lower texel
    Words columns; // in both halves: of the left and of the right texel

    // `weights` holds each pixel's weight in both halves.
    HWY_INLINE Taps(Words u, Words v, Words weights)
        : rows(hn::Sub(words(PixelTables::kUpperRow), hn::BitCast(kSigned, hn::ShiftRight<9>(v)))),
          columns(hn::MulHigh(u, weights)) {}
};

template <int lane, class Texels>
HWY_INLINE Signed sampled(const Texels &texels, const std::int32_t *offsets, const Taps &taps) {
    const Signed column =
        mixed(texels.load(kBytes, offsets + lane), picked(taps.rows, PixelTables::kRowsOf[lane]));
    return hn::MulFixedPoint15(column, picked(taps.columns, PixelTables::kColumnsOf[lane]));
}

/// The left and right columns of two pixels, added.
HWY_INLINE Signed joined(Signed first, Signed second) {
    const auto a = hn::BitCast(kPairs, first);
    const auto b = hn::BitCast(kPairs, second);
    return hn::Add(hn::BitCast(kSigned, hn::InterleaveLower(kPairs, a, b)),
                   hn::BitCast(kSigned, hn::InterleaveUpper(kPairs, a, b)));
}

/// The offset of the upper left one of the texels around each pixel.
HWY_INLINE Numbers offsetsOf(Numbers u, Numbers v, std::int32_t stride) {
    const Words columnAndRow =
        hn::OddEven(hn::BitCast(kWords, v), hn::BitCast(kWords, hn::ShiftRight<16>(u)));
    return places(hn::BitCast(kNumbers, columnAndRow), stride);
}

/// One vector of sampled pixels.
struct Drawn {
    Signed low;
    Signed high;

    template <class Texels>
    HWY_INLINE Drawn(const Texels &texels, const std::int32_t *offsets, const Taps &taps)
        : low(joined(sampled<0>(texels, offsets, taps), sampled<1>(texels, offsets, taps))),
          high(joined(sampled<2>(texels, offsets, taps), sampled<3>(texels, offsets, taps))) {}

    HWY_INLINE Pixels over(Pixels target) const { return blendedOver(low, high, target); }

    HWY_INLINE void blendSome(std::uint32_t *pixels, std::size_t count) const {
        storeSome(over(loadSome(pixels, count)), pixels, count);
    }
};

HWY_INLINE std::int32_t stepOfVector(std::int32_t step) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(step) * kLanes);
}

/// The distances of a vector's pixels from its first one.
HWY_INLINE Numbers distances(std::int32_t step) {
    return hn::Mul(hn::Iota(kNumbers, 0), hn::Set(kNumbers, step));
}

HWY_INLINE Numbers positions(std::uint32_t first, Numbers distances) {
    return hn::Add(hn::Set(kNumbers, static_cast<std::int32_t>(first)), distances);
}

/// Rows of a sprite, all with the same step and weight.
template <class Texels> class InsideRows {
  public:
    HWY_INLINE InsideRows(const SpriteSource &source, const SpriteStep &step, std::uint32_t weight)
        : _texels(source), _stride(source.stride), _step(step), _distancesU(distances(step.u)),
          _distancesV(distances(step.v)),
          _weights(hn::Set(kWords, static_cast<std::uint16_t>(weight))) {}

    HWY_INLINE void draw(const SpriteRow &row, std::int32_t *offsets) const {
        const std::int32_t last = row.count - std::int32_t{kLanes};
        if (last >= 0) {
            drawVectors(row, offsets, last);
            return;
        }
        for (std::int32_t i = row.count; i < std::int32_t{kLanes}; ++i) {
            offsets[i] = 0;
        }
        Drawn(_texels, offsets, tapsAt(row, 0))
            .blendSome(row.pixels, static_cast<std::size_t>(row.count));
    }

    // Fills whole vectors; offsets beyond the row's end point at no texel and must not be used.
    HWY_INLINE void findOffsets(const SpriteRow &row, std::int32_t *offsets) const {
        const Numbers stepU = hn::Set(kNumbers, stepOfVector(_step.u));
        const Numbers stepV = hn::Set(kNumbers, stepOfVector(_step.v));
        Numbers u = positions(row.u, _distancesU);
        Numbers v = positions(row.v, _distancesV);
        for (std::int32_t i = 0; i < row.count; i += std::int32_t{kLanes}) {
            hn::Store(offsetsOf(u, v, _stride), kNumbers, offsets + i);
            u = hn::Add(u, stepU);
            v = hn::Add(v, stepV);
        }
    }

  private:
    HWY_INLINE Taps tapsAt(const SpriteRow &row, std::int32_t place) const {
        const auto along = static_cast<std::uint32_t>(place);
        const std::uint32_t u = row.u + along * static_cast<std::uint32_t>(_step.u);
        const std::uint32_t v = row.v + along * static_cast<std::uint32_t>(_step.v);
        return Taps(fractionsOf(positions(u, _distancesU)), fractionsOf(positions(v, _distancesV)),
                    _weights);
    }

    // The last vector may overlap the one before it, so its target is read before that is drawn.
    HWY_INLINE void drawVectors(const SpriteRow &row, const std::int32_t *offsets,
                                std::int32_t last) const {
        const Words stepU = fractionStep(stepOfVector(_step.u));
        const Words stepV = fractionStep(stepOfVector(_step.v));
        Words u = fractionsOf(positions(row.u, _distancesU));
        Words v = fractionsOf(positions(row.v, _distancesV));
        const Pixels atEnd = hn::LoadU(kPixels, row.pixels + last);
        for (std::int32_t i = 0; i < last; i += std::int32_t{kLanes}) {
            const Pixels target = hn::LoadU(kPixels, row.pixels + i);
            const Drawn drawn(_texels, offsets + i, Taps(u, v, _weights));
            hn::StoreU(drawn.over(target), kPixels, row.pixels + i);
            u = hn::Add(u, stepU);
            v = hn::Add(v, stepV);
        }
        const Drawn drawn(_texels, offsets + last, tapsAt(row, last));
        hn::StoreU(drawn.over(atEnd), kPixels, row.pixels + last);
    }

    const Texels _texels;
    const std::int32_t _stride;
    const SpriteStep _step;
    const Numbers _distancesU;
    const Numbers _distancesV;
    const Words _weights;
};

/// Prefetches a row of the target: rows lie too far apart for the processor to predict the next
/// one.
HWY_INLINE void fetch(const SpriteRow &row) {
    constexpr std::int32_t kLine = 16;
    __builtin_prefetch(row.pixels);
    __builtin_prefetch(row.pixels + HWY_MIN(row.count - 1, kLine));
    __builtin_prefetch(row.pixels + HWY_MIN(row.count - 1, 2 * kLine));
}

template <class Texels>
HWY_INLINE void drawInsideRows(const SpriteSource &source, const SpriteStep &step,
                               const SpriteRow *rows, std::size_t count, std::uint32_t weight) {
    constexpr std::size_t kAhead = 3;
    const InsideRows<Texels> inside(source, step, weight);
    // Offsets are found one row ahead of their use, which hides the latency of storing and loading
    // them.
    HWY_ALIGN std::int32_t offsets[2][SpriteRow::kMaxPixels + kLanes];
    inside.findOffsets(rows[0], offsets[0]);
    for (std::size_t i = 0; i < count; ++i) {
        fetch(rows[HWY_MIN(i + kAhead, count - 1)]);
        inside.findOffsets(rows[HWY_MIN(i + 1, count - 1)], offsets[(i + 1) % 2]);
        inside.draw(rows[i], offsets[i % 2]);
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
    Numbers placeU = positions(row.u, distances(step.u));
    Numbers placeV = positions(row.v, distances(step.v));
    HWY_ALIGN std::int32_t offsets[kLanes];
    for (std::int32_t i = 0; i < row.count; i += std::int32_t{kLanes}) {
        const std::size_t some = HWY_MIN(static_cast<std::size_t>(row.count - i), kLanes);
        const Numbers u = hn::Min(hn::Max(placeU, zero), hn::Set(kNumbers, source.lastU));
        const Numbers v = hn::Min(hn::Max(placeV, zero), hn::Set(kNumbers, source.lastV));
        const Pixels part = loadSome(row.weights + i, some);
        const Words weights = hn::BitCast(kWords, hn::Or(part, hn::ShiftLeft<16>(part)));
        hn::Store(offsetsOf(u, v, source.stride), kNumbers, offsets);
        Drawn(texels, offsets, Taps(fractionsOf(u), fractionsOf(v), weights))
            .blendSome(row.pixels + i, some);
        placeU = hn::Add(placeU, hn::Set(kNumbers, stepOfVector(step.u)));
        placeV = hn::Add(placeV, hn::Set(kNumbers, stepOfVector(step.v)));
    }
}

void drawEdges(const SpriteSource &source, const SpriteStep &step, const SpriteRow *rows,
               std::size_t count) {
    for (const SpriteRow *row = rows; row < rows + count; ++row) {
        if (source.pairs) {
            drawEdgeRow<Prepared>(source, step, *row);
        } else {
            drawEdgeRow<Original>(source, step, *row);
        }
    }
}

// ---- Rows of pixels

/// A vector of pixels in two halves with 16 bits a channel.
struct Laid {
    Signed low;
    Signed high;

    // Weights are from -32768 to 0.
    HWY_INLINE Laid(Pixels source, Signed weights)
        : low(steps(hn::InterleaveLower(kBytes, hn::Zero(kBytes), hn::BitCast(kBytes, source)),
                    weights)),
          high(steps(hn::InterleaveUpper(kBytes, hn::Zero(kBytes), hn::BitCast(kBytes, source)),
                     weights)) {}

  private:
    static HWY_INLINE Signed steps(Bytes levels256, Signed weights) {
        const Words levels = hn::ShiftRight<1>(hn::BitCast(kWords, levels256));
        return hn::MulFixedPoint15(hn::BitCast(kSigned, levels), weights);
    }
};

void blendRow(const std::uint32_t *source, std::uint32_t *target, int count, std::uint32_t weight) {
    const auto negative = static_cast<std::int16_t>(-static_cast<std::int32_t>(weight / 2));
    const Signed weights = hn::Set(kSigned, negative);
    std::size_t left = static_cast<std::size_t>(count);
    for (; left >= kLanes; left -= kLanes, source += kLanes, target += kLanes) {
        const Pixels pixels = hn::LoadU(kPixels, source);
        if (hn::AllTrue(kPixels, hn::Eq(pixels, hn::Zero(kPixels)))) {
            continue;
        }
        const Laid laid(pixels, weights);
        hn::StoreU(blendedOver(laid.low, laid.high, hn::LoadU(kPixels, target)), kPixels, target);
    }
    if (left > 0) {
        const Laid laid(loadSome(source, left), weights);
        storeSome(blendedOver(laid.low, laid.high, loadSome(target, left)), target, left);
    }
}

void blendColor(std::uint32_t color, std::uint32_t *target, int count) {
    const Signed steps = Laid(hn::Set(kPixels, color), hn::Set(kSigned, -32768)).low;
    const Words rest = restOf(steps);
    std::size_t left = static_cast<std::size_t>(count);
    for (; left >= kLanes; left -= kLanes, target += kLanes) {
        hn::StoreU(blendedOver(steps, steps, rest, rest, hn::LoadU(kPixels, target)), kPixels,
                   target);
    }
    if (left > 0) {
        storeSome(blendedOver(steps, steps, rest, rest, loadSome(target, left)), target, left);
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
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        result.push_back(HWY_DYNAMIC_DISPATCH(kernels)());
    }
    hwy::SetSupportedTargetsForTest(0); // makes Highway ask the processor again
    if (result.empty() || result.back() != &plain()) {
        result.push_back(&plain());
    }
    return result;
}

#endif
