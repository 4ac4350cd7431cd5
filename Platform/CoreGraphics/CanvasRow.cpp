#include "Platform/CoreGraphics/CanvasRow.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace {

using Lanes = float __attribute__((vector_size(16)));
using Wholes = std::int32_t __attribute__((vector_size(16)));
using Halves = std::uint16_t __attribute__((vector_size(16)));
using Bytes = std::uint8_t __attribute__((vector_size(16)));

static_assert(std::endian::native == std::endian::little, "alpha is the last lane");

/// Pixels are converted from and to words by groups of four.
constexpr std::size_t kGroup = 4;
using Group = std::array<Lanes, kGroup>;

constexpr float kMaxWord = 65535.0f;

Lanes alphaOf(Lanes pixel) { return __builtin_shufflevector(pixel, pixel, 3, 3, 3, 3); }

Lanes lanesOf(Halves widened) {
    return __builtin_convertvector(std::bit_cast<Wholes>(widened), Lanes) * (1.0f / 255);
}

Group groupOf(const std::uint32_t *words) {
    constexpr Bytes kNone = {};
    constexpr Halves kNothing = {};
    Bytes bytes;
    std::memcpy(&bytes, words, sizeof bytes);
    const auto low = std::bit_cast<Halves>(__builtin_shufflevector(
        bytes, kNone, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
    const auto high = std::bit_cast<Halves>(__builtin_shufflevector(
        bytes, kNone, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31));
    return {lanesOf(__builtin_shufflevector(low, kNothing, 0, 8, 1, 9, 2, 10, 3, 11)),
            lanesOf(__builtin_shufflevector(low, kNothing, 4, 12, 5, 13, 6, 14, 7, 15)),
            lanesOf(__builtin_shufflevector(high, kNothing, 0, 8, 1, 9, 2, 10, 3, 11)),
            lanesOf(__builtin_shufflevector(high, kNothing, 4, 12, 5, 13, 6, 14, 7, 15))};
}

/// The group at `start`, filled up with transparent pixels at the row's end.
Group groupAt(std::span<const std::uint32_t> words, std::size_t start) {
    if (start + kGroup <= words.size()) {
        return groupOf(words.data() + start);
    }
    std::uint32_t last[kGroup] = {};
    std::copy(words.begin() + static_cast<std::ptrdiff_t>(start), words.end(), last);
    return groupOf(last);
}

/// Every second byte of both.
Bytes evenBytes(Bytes first, Bytes second) {
    return __builtin_shufflevector(first, second, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26,
                                   28, 30);
}

Bytes roundedBytes(Lanes pixel) {
    return std::bit_cast<Bytes>(__builtin_convertvector(pixel * 255.0f + 0.5f, Wholes));
}

void writeWords(const Group &group, std::uint32_t *words) {
    const Bytes first = evenBytes(roundedBytes(group[0]), roundedBytes(group[1]));
    const Bytes second = evenBytes(roundedBytes(group[2]), roundedBytes(group[3]));
    const Bytes bytes = evenBytes(first, second);
    std::memcpy(words, &bytes, sizeof bytes);
}

/// The sums of neighbouring lanes.
Lanes pairSums(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 0, 2, 4, 6) + __builtin_shufflevector(a, b, 1, 3, 5, 7);
}

/// The weighted sums in every colour, and full alpha.
void writeGreys(const Group &group, std::uint32_t *words) {
    constexpr Lanes kWeights = {0.0722f, 0.7152f, 0.2126f, 0};
    const Lanes sums = pairSums(pairSums(group[0] * kWeights, group[1] * kWeights),
                                pairSums(group[2] * kWeights, group[3] * kWeights));
    const Wholes grey = __builtin_convertvector(sums * 255.0f + 0.5f, Wholes);
    const Wholes pixels = grey | grey << 8 | grey << 16 | static_cast<std::int32_t>(0xff000000);
    std::memcpy(words, &pixels, sizeof pixels);
}

// s and d are source and destination, sa and da their alphas.

struct Normal {
    static Lanes mix(Lanes s, Lanes sa, Lanes d, Lanes) { return s + d * (1 - sa); }
};

struct Multiply {
    static Lanes mix(Lanes s, Lanes sa, Lanes d, Lanes da) {
        return s * (1 - da) + d * (1 - sa) + s * d;
    }
};

/// Dark backdrops are multiplied, light ones screened: the backdrop chooses.
struct Overlay {
    static Lanes mix(Lanes s, Lanes sa, Lanes d, Lanes da) {
        const Lanes outside = s * (1 - da) + d * (1 - sa);
        const Lanes dark = 2 * s * d;
        const Lanes light = sa * da - 2 * (da - d) * (sa - s);
        return outside + (2 * d <= da ? dark : light);
    }
};

/// Clamps the result, because rounding could raise a colour above its alpha.
template <class Mode> void blendOver(Lanes &pixel, Lanes source) {
    const Lanes mixed = Mode::mix(source, alphaOf(source), pixel, alphaOf(pixel));
    const Lanes alpha = alphaOf(mixed);
    pixel = mixed < alpha ? mixed : alpha;
}

float share(std::uint8_t coverage) { return static_cast<float>(coverage) * (1.0f / 255); }

/// Clamps to 0…1; NaN gives 0.
float fraction(CGFloat value) { return value >= 1 ? 1 : value > 0 ? static_cast<float>(value) : 0; }

Lanes lanesOf(const CGColor &color) {
    const Lanes pure = {fraction(color.blue), fraction(color.green), fraction(color.red), 1};
    return pure * fraction(color.alpha);
}

} // namespace

CanvasRow::CanvasRow(std::size_t width)
    : _width(width), _pixels((width + kGroup - 1) / kGroup * kGroup), _words(_pixels.size()) {}

void CanvasRow::clear(bool isBlack) {
    std::fill(_pixels.begin(), _pixels.end(), Lanes{0, 0, 0, isBlack ? 1.0f : 0.0f});
}

void CanvasRow::begin(const PlacedPicture &picture, std::size_t y, bool isOverBlack) {
    constexpr Lanes kOpaque = {1, 1, 1, 1};
    std::size_t x = 0;
    const auto words = picture.row(y, x);
    for (std::size_t i = 0; i < words.size(); i += kGroup) {
        const Group group = groupAt(words, i);
        for (std::size_t j = 0; j < kGroup; ++j) {
            _pixels[i + j] =
                isOverBlack ? __builtin_shufflevector(group[j], kOpaque, 0, 1, 2, 7) : group[j];
        }
    }
}

void CanvasRow::load(const std::uint16_t *components) {
    for (std::size_t i = 0; i < _width * 4; ++i) {
        _pixels[i / 4][i % 4] = static_cast<float>(components[i]) / kMaxWord;
    }
}

void CanvasRow::store(std::uint16_t *components) const {
    for (std::size_t i = 0; i < _width * 4; ++i) {
        components[i] = static_cast<std::uint16_t>(_pixels[i / 4][i % 4] * kMaxWord + 0.5f);
    }
}

void CanvasRow::paint(const CanvasStroke &stroke, std::size_t y) {
    switch (stroke.mode) {
    case CGBlendMode::Normal:
        return blend<Normal>(stroke, y);
    case CGBlendMode::Multiply:
        return blend<Multiply>(stroke, y);
    case CGBlendMode::Overlay:
        return blend<Overlay>(stroke, y);
    }
}

template <class Mode> void CanvasRow::blend(const CanvasStroke &stroke, std::size_t y) {
    if (stroke.picture) {
        blendPicture<Mode>(stroke, y);
    } else if (y >= stroke.top && y < stroke.bottom) {
        blendColor<Mode>(stroke, y);
    }
}

template <class Mode> void CanvasRow::blendPicture(const CanvasStroke &stroke, std::size_t y) {
    std::size_t x = 0;
    const auto words = stroke.picture->row(y, x);
    const auto clip = clipOf(stroke, x, y);
    Lanes *const pixels = _pixels.data() + x;
    const auto blendGroup = [&](std::size_t start, std::size_t count) {
        const Group group = groupAt(words, start);
        for (std::size_t j = 0; j < count; ++j) {
            blendOver<Mode>(pixels[start + j],
                            clip.empty() ? group[j] : group[j] * share(clip[start + j]));
        }
    };
    const std::size_t wholeGroups = words.size() / kGroup * kGroup;
    for (std::size_t i = 0; i < wholeGroups; i += kGroup) {
        blendGroup(i, kGroup);
    }
    blendGroup(wholeGroups, words.size() - wholeGroups);
}

template <class Mode> void CanvasRow::blendColor(const CanvasStroke &stroke, std::size_t y) {
    const Lanes source = lanesOf(stroke.color);
    const auto clip = clipOf(stroke, stroke.left, y);
    Lanes *const pixels = _pixels.data() + stroke.left;
    for (std::size_t i = 0; i < stroke.right - stroke.left; ++i) {
        blendOver<Mode>(pixels[i], clip.empty() ? source : source * share(clip[i]));
    }
}

/// The clip of row y from x on; empty when there is no clip.
std::span<const std::uint8_t> CanvasRow::clipOf(const CanvasStroke &stroke, std::size_t x,
                                                std::size_t y) const {
    return stroke.clip ? std::span(*stroke.clip).subspan(y * _width + x, _width - x)
                       : std::span<const std::uint8_t>();
}

template <class Write> void CanvasRow::append(PixelBuffer &words, Write write) {
    for (std::size_t i = 0; i < _pixels.size(); i += kGroup) {
        write({_pixels[i], _pixels[i + 1], _pixels[i + 2], _pixels[i + 3]}, _words.data() + i);
    }
    words.insert(words.end(), _words.begin(), _words.begin() + static_cast<std::ptrdiff_t>(_width));
}

void CanvasRow::appendPixels(PixelBuffer &words) {
    append(words, [](const Group &group, std::uint32_t *first) { writeWords(group, first); });
}

void CanvasRow::appendGreys(PixelBuffer &words) {
    append(words, [](const Group &group, std::uint32_t *first) { writeGreys(group, first); });
}
