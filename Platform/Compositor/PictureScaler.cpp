#include "Platform/Compositor/PictureScaler.h"

#include <cmath>

namespace {

// One pixel's channels; compilers keep it in one register where the machine has such.
using Channels = float __attribute__((vector_size(16)));

// What one pixel takes from the texels of a row or column, from the first on.
struct Tap {
    int first;
    int count;
    std::size_t weights; // where its weights begin
};

// What every pixel along one axis takes.
struct Taps {
    std::vector<Tap> taps;
    std::vector<float> weights;

    // Weights of texels [first, last], brought to the sum `total`.
    template <class Kernel> void add(int first, int last, double total, const Kernel &kernel) {
        double sum = 0;
        for (int i = first; i <= last; i++) {
            sum += kernel(i);
        }
        taps.push_back({first, last - first + 1, weights.size()});
        for (int i = first; i <= last; i++) {
            weights.push_back(static_cast<float>(sum == 0 ? 0 : kernel(i) / sum * total));
        }
    }
};

// The cubic through the texels (Catmull and Rom), which reaches two texels far.
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
    for (int pixel = from; pixel < to; pixel++) {
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
    for (int pixel = 0; pixel < pixels; pixel++) {
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
    return Channels{static_cast<float>(pixel & 0xFF), static_cast<float>(pixel >> 8 & 0xFF),
                    static_cast<float>(pixel >> 16 & 0xFF), static_cast<float>(pixel >> 24)};
}

// A cubic overshoots beside sharp edges: colours stay within alpha, as premultiplied ones must.
std::uint32_t pixelOf(const Channels &channels) {
    const float alpha = std::clamp(channels[3], 0.0F, 255.0F);
    const auto byte = [&](float value) {
        return static_cast<std::uint32_t>(std::clamp(value, 0.0F, alpha) + 0.5F);
    };
    return byte(channels[0]) | byte(channels[1]) << 8 | byte(channels[2]) << 16 | byte(alpha) << 24;
}

void scaleRow(const std::uint32_t *row, const Taps &taps, Channels *result) {
    for (const Tap &tap : taps.taps) {
        Channels sum{};
        for (int i = 0; i < tap.count; i++) {
            sum += channelsOf(row[tap.first + i]) * taps.weights[tap.weights + i];
        }
        *result++ = sum;
    }
}

void addRow(const std::vector<Channels> &row, float weight, std::vector<Channels> &sums) {
    for (std::size_t i = 0; i < sums.size(); i++) {
        sums[i] += row[i] * weight;
    }
}

// Rows scaled along x, kept for as long as pixels below take from them.
class RowWindow {
  public:
    RowWindow(const Picture &picture, const Taps &columns, int rows)
        : _picture(picture), _columns(columns), _rows(rows),
          _rowIn(static_cast<std::size_t>(rows), -1) {}

    const std::vector<Channels> &row(int y) {
        const auto slot = static_cast<std::size_t>(y) % _rows.size();
        if (_rowIn[slot] != y) {
            _rows[slot].resize(_columns.taps.size());
            scaleRow(_picture.at(0, y), _columns, _rows[slot].data());
            _rowIn[slot] = y;
        }
        return _rows[slot];
    }

  private:
    const Picture &_picture;
    const Taps &_columns;
    std::vector<std::vector<Channels>> _rows;
    std::vector<int> _rowIn;
};

std::vector<std::uint32_t> apply(const Picture &picture, const Taps &columns, const Taps &rows) {
    int most = 1;
    for (const Tap &tap : rows.taps) {
        most = std::max(most, tap.count);
    }
    RowWindow window(picture, columns, most);
    std::vector<Channels> sums(columns.taps.size());
    std::vector<std::uint32_t> result;
    result.reserve(columns.taps.size() * rows.taps.size());
    for (const Tap &tap : rows.taps) {
        std::fill(sums.begin(), sums.end(), Channels{});
        for (int i = 0; i < tap.count; i++) {
            addRow(window.row(tap.first + i), rows.weights[tap.weights + i], sums);
        }
        for (const Channels &sum : sums) {
            result.push_back(pixelOf(sum));
        }
    }
    return result;
}

} // namespace

namespace PictureScaler {

std::vector<std::uint32_t> scaled(const Picture &picture, const Axis &x, const Axis &y,
                                  const DeviceRect &area) {
    return apply(picture, cubicTaps(picture.width, x, area.left, area.right),
                 cubicTaps(picture.height, y, area.top, area.bottom));
}

std::vector<std::uint32_t> reduced(const Picture &picture, int width, int height) {
    return apply(picture, meanTaps(picture.width, width), meanTaps(picture.height, height));
}

} // namespace PictureScaler
