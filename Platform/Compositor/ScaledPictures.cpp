#include "Platform/Compositor/ScaledPictures.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

// One pixel's channels, in one vector register where the processor has them.
using Channels = float __attribute__((vector_size(16)));
using Levels = std::uint32_t __attribute__((vector_size(16)));

/// The texels of a row or column that one pixel is a weighted sum of.
struct Tap {
    int first;
    int count;
    std::size_t weights; // index of the first weight
};

/// The taps of all pixels along one axis.
struct Taps {
    std::vector<Tap> taps;
    std::vector<float> weights;

    // Adds a pixel whose texels [first, last] have weights in proportion to the kernel, with the
    // sum `total`.
    template <class Kernel> void add(int first, int last, double total, const Kernel &kernel) {
        double sum = 0;
        for (int i = first; i <= last; ++i) {
            sum += kernel(i);
        }
        taps.push_back({first, last - first + 1, weights.size()});
        for (int i = first; i <= last; ++i) {
            weights.push_back(static_cast<float>(sum == 0 ? 0 : kernel(i) / sum * total));
        }
    }
};

/// The cubic that passes through the texels (Catmull-Rom). It reaches two texels far.
double cubic(double distance) {
    const double x = std::abs(distance);
    if (x >= 2) {
        return 0;
    }
    return x < 1 ? (1.5 * x - 2.5) * x * x + 1 : ((-0.5 * x + 2.5) * x - 4) * x + 2;
}

Taps cubicTaps(int texels, const PictureScaler::Axis &axis, int from, int to) {
    Taps result;
    const double end = axis.origin + axis.size * texels;
    const double stretch = std::max(1.0, 1 / axis.size);
    for (int pixel = from; pixel < to; ++pixel) {
        const double covered = std::min(end, pixel + 1.0) - std::max<double>(axis.origin, pixel);
        const double centre = (pixel + 0.5 - axis.origin) / axis.size - 0.5;
        const double low = std::clamp(std::ceil(centre - 2 * stretch), 0.0, texels - 1.0);
        const double high = std::clamp(std::floor(centre + 2 * stretch), low, texels - 1.0);
        const auto kernel = [&](int i) { return cubic((i - centre) / stretch); };
        result.add(static_cast<int>(low), static_cast<int>(high), std::clamp(covered, 0.0, 1.0),
                   kernel);
    }
    return result;
}

Taps meanTaps(int texels, int pixels) {
    Taps result;
    const double size = static_cast<double>(texels) / pixels;
    for (int pixel = 0; pixel < pixels; ++pixel) {
        const double from = pixel * size;
        const double to = std::min<double>((pixel + 1) * size, texels);
        const int first = static_cast<int>(from);
        const int last = std::min(static_cast<int>(std::ceil(to)), texels) - 1;
        result.add(first, std::max(first, last), 1, [&](int i) {
            return std::max(0.0, std::min(to, i + 1.0) - std::max<double>(from, i));
        });
    }
    return result;
}

Channels channelsOf(std::uint32_t pixel) {
    return __builtin_convertvector(Levels{pixel, pixel >> 8, pixel >> 16, pixel >> 24} & 0xFF,
                                   Channels);
}

/// A cubic overshoots beside sharp edges, so the colours are limited to alpha: premultiplied ones
/// are never above it.
std::uint32_t pixelOf(const Channels &channels) {
    const float alpha = std::clamp(channels[3], 0.0F, 255.0F);
    const Channels most{alpha, alpha, alpha, alpha};
    const Channels positive = channels < 0.0F ? Channels{} : channels;
    const Channels limited = positive > most ? most : positive;
    const Levels levels = __builtin_convertvector(limited + 0.5F, Levels);
    return levels[0] | levels[1] << 8 | levels[2] << 16 | levels[3] << 24;
}

/// Pixels that are made at a time, so that a weight is loaded once for all of them.
constexpr std::size_t kBlock = 4;

std::size_t roundedUp(std::size_t pixels) { return (pixels + kBlock - 1) / kBlock * kBlock; }

/// Rows scaled along x, kept as long as pixels further down need them.
class RowWindow {
  public:
    RowWindow(const Picture &picture, const Taps &columns, int rows)
        : _picture(picture), _columns(columns), _rows(rows),
          _rowIn(static_cast<std::size_t>(rows), -1) {
        for (const Tap &tap : columns.taps) {
            _first = std::min(_first, tap.first);
            _end = std::max(_end, tap.first + tap.count);
        }
        _texels.resize(static_cast<std::size_t>(std::max(_end - _first, 0)));
    }

    // A row of the taps' pixels, with room up to a whole block.
    const Channels *row(int y) {
        const auto slot = static_cast<std::size_t>(y) % _rows.size();
        if (_rowIn[slot] != y) {
            _rows[slot].resize(roundedUp(_columns.taps.size()));
            scaleRow(y, _rows[slot].data());
            _rowIn[slot] = y;
        }
        return _rows[slot].data();
    }

  private:
    // Converts each texel once, since several pixels depend on it.
    void scaleRow(int y, Channels *result) {
        for (int x = _first; x < _end; ++x) {
            _texels[static_cast<std::size_t>(x - _first)] = channelsOf(*_picture.at(x, y));
        }
        for (const Tap &tap : _columns.taps) {
            const Channels *const texels = &_texels[static_cast<std::size_t>(tap.first - _first)];
            const float *const weights = &_columns.weights[tap.weights];
            Channels sum{};
            for (int i = 0; i < tap.count; ++i) {
                sum += texels[i] * weights[i];
            }
            *result++ = sum;
        }
    }

    const Picture &_picture;
    const Taps &_columns;
    int _first = std::numeric_limits<int>::max();
    int _end = 0;
    std::vector<Channels> _texels;
    std::vector<std::vector<Channels>> _rows;
    std::vector<int> _rowIn;
};

/// Mixes rows into the block's pixels from `x` on.
void mixBlock(const std::vector<const Channels *> &rows, const float *weights, int count,
              std::size_t x, std::uint32_t *pixels) {
    Channels sums[kBlock] = {};
    for (int i = 0; i < count; ++i) {
        const Channels *const row = rows[static_cast<std::size_t>(i)] + x;
        for (std::size_t k = 0; k < kBlock; ++k) {
            sums[k] += row[k] * weights[i];
        }
    }
    for (std::size_t k = 0; k < kBlock; ++k) {
        pixels[k] = pixelOf(sums[k]);
    }
}

/// The pixels of all taps, row by row.
PixelBuffer collected(const Picture &picture, const Taps &columns, const Taps &rows) {
    int maxCount = 1;
    for (const Tap &tap : rows.taps) {
        maxCount = std::max(maxCount, tap.count);
    }
    RowWindow window(picture, columns, maxCount);
    std::vector<const Channels *> mixed(static_cast<std::size_t>(maxCount));
    const std::size_t width = columns.taps.size();
    std::vector<std::uint32_t> line(roundedUp(width));
    PixelBuffer result;
    result.reserve(width * rows.taps.size());
    for (const Tap &tap : rows.taps) {
        for (int i = 0; i < tap.count; ++i) {
            mixed[static_cast<std::size_t>(i)] = window.row(tap.first + i);
        }
        for (std::size_t x = 0; x < width; x += kBlock) {
            mixBlock(mixed, &rows.weights[tap.weights], tap.count, x, &line[x]);
        }
        result.insert(result.end(), line.data(), line.data() + width);
    }
    return result;
}

bool areOpaque(const PixelBuffer &pixels) {
    return std::all_of(pixels.begin(), pixels.end(),
                       [](std::uint32_t pixel) { return pixel >> 24 == 255; });
}

} // namespace

PixelBuffer PictureScaler::scaled(const Picture &picture, const Axis &x, const Axis &y,
                                  const DeviceRect &area) {
    return collected(picture, cubicTaps(picture.width, x, area.left, area.right),
                     cubicTaps(picture.height, y, area.top, area.bottom));
}

PixelBuffer PictureScaler::reduced(const Picture &picture, int width, int height) {
    return collected(picture, meanTaps(picture.width, width), meanTaps(picture.height, height));
}

Picture ScaledPictures::scaled(CGImage &image, const PictureScaler::Axis &x,
                               const PictureScaler::Axis &y, const DeviceRect &area) {
    auto entry = std::find_if(_entries.begin(), _entries.end(), [&](const Entry &kept) {
        return kept.image == &image && kept.x == x && kept.y == y && kept.area == area;
    });
    if (entry == _entries.end()) {
        if (_entries.size() == kMaxEntries) {
            makeRoom();
        }
        PixelBuffer pixels = PictureScaler::scaled(Picture::whole(image), x, y, area);
        const bool opaque = areOpaque(pixels);
        entry = _entries.insert(entry, {Retained<CGImage>(&image), x, y, area, std::move(pixels),
                                        opaque, /*isUsed*/ true});
    }
    entry->isUsed = true;
    return {entry->pixels.data(), area.width(), area.height(), entry->opaque};
}

void ScaledPictures::makeRoom() {
    const auto unused = std::find_if(_entries.begin(), _entries.end(),
                                     [](const Entry &entry) { return !entry.isUsed; });
    _entries.erase(unused == _entries.end() ? _entries.begin() : unused);
}

void ScaledPictures::endFrame() {
    _entries.remove_if([](Entry &entry) { return !std::exchange(entry.isUsed, false); });
}
