#include "Platform/Compositor/SpritePictures.h"

#include "Platform/Compositor/ScaledPictures.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace {

using Corner = SpriteOutline::Corner;

constexpr int kSides = SpriteOutline::kCorners;

/// How far a set of points reaches in evenly spread directions.
class Reach {
  public:
    Reach() {
        _farthest.fill(-std::numeric_limits<double>::infinity());
        for (int side = 0; side < kSides; ++side) {
            const double angle = 2 * std::numbers::pi * side / kSides;
            _directions[side] = {std::cos(angle), std::sin(angle)};
        }
        // Exact axes, so that an outline that touches the picture's edge does so exactly.
        _directions[0] = {1, 0};
        _directions[kSides / 4] = {0, 1};
        _directions[kSides / 2] = {-1, 0};
        _directions[kSides * 3 / 4] = {0, -1};
    }

    void add(const Corner &point) {
        for (int side = 0; side < kSides; ++side) {
            const Corner &direction = _directions[side];
            _farthest[side] =
                std::max(_farthest[side], point.u * direction.u + point.v * direction.v);
        }
    }

    // The point where a side meets the next one.
    Corner corner(int side) const {
        const int next = (side + 1) % kSides;
        const Corner &a = _directions[side];
        const Corner &b = _directions[next];
        const double sine = a.u * b.v - a.v * b.u;
        return {(_farthest[side] * b.v - _farthest[next] * a.v) / sine,
                (_farthest[next] * a.u - _farthest[side] * b.u) / sine};
    }

  private:
    std::array<Corner, kSides> _directions;
    std::array<double, kSides> _farthest;
};

/// Moves a coordinate that differs from the edge by rounding only onto the edge.
double onEdge(double value, double edge) { return std::abs(value - edge) < 1e-6 ? edge : value; }

/// Texels. Preparing a larger picture would take megabytes, and sprites that are drawn often are
/// small.
constexpr long long kMaxPrepared = 1 << 18;

constexpr int kBytesOfPair = 8;

constexpr unsigned kFramesKept = 400;

int halved(int side, int times) {
    return static_cast<int>((std::int64_t{side} + (std::int64_t{1} << times) - 1) >> times);
}

} // namespace

SpriteOutline SpriteOutline::around(const Picture &picture) {
    SpriteOutline result;
    Reach reach;
    for (int y = 0; y < picture.height; ++y) {
        const std::uint32_t *const row = picture.at(0, y);
        const auto shows = [](std::uint32_t pixel) { return pixel != 0; };
        const std::uint32_t *const end = row + picture.width;
        const std::uint32_t *const first = std::find_if(row, end, shows);
        if (first == end) {
            continue;
        }
        const std::uint32_t *last = end - 1;
        while (!shows(*last)) {
            --last;
        }
        result.empty = false;
        // Samples depend on a texel up to the centres of its neighbours.
        for (const double v : {std::max(y - 0.5, 0.0), std::min<double>(y + 1.5, picture.height)}) {
            reach.add({std::max(first - row - 0.5, 0.0), v});
            reach.add({std::min<double>(last - row + 1.5, picture.width), v});
        }
    }
    if (result.empty) {
        return result;
    }
    for (int side = 0; side < kCorners; ++side) {
        Corner &corner = result.corners[side] = reach.corner(side);
        corner.u = onEdge(onEdge(corner.u, 0), picture.width);
        corner.v = onEdge(onEdge(corner.v, 0), picture.height);
    }
    return result;
}

SpriteTexels::SpriteTexels(const Picture &picture)
    : _width(picture.width), _height(picture.height), _outline(SpriteOutline::around(picture)) {
    if (1LL * _width * _height <= kMaxPrepared) {
        preparePairs(picture);
        _source.pairs = _pairs.data();
        _source.stride = _width + 1;
        _source.lastU = (_width - 1) << 16;
        _source.lastV = (_height - 1) << 16;
    } else {
        _source.pixels = picture.pixels;
        _source.stride = _width;
        _source.lastU = ((_width - 1) << 16) - 1;
        _source.lastV = ((_height - 1) << 16) - 1;
    }
}

void SpriteTexels::preparePairs(const Picture &picture) {
    _pairs.resize(std::size_t(_width + 1) * _height * kBytesOfPair);
    std::uint8_t *pair = _pairs.data();
    for (int y = 0; y < _height; ++y) {
        for (int x = 0; x <= _width; ++x) {
            const int column = std::min(x, _width - 1);
            const std::uint32_t top = *picture.at(column, y);
            const std::uint32_t bottom = *picture.at(column, std::min(y + 1, _height - 1));
            for (int channel = 0; channel < 4; ++channel) {
                *pair++ = static_cast<std::uint8_t>(top >> 8 * channel);
                *pair++ = static_cast<std::uint8_t>(bottom >> 8 * channel);
            }
        }
    }
}

const SpriteTexels &SpritePictures::texels(CGImage &image, int halvingsX, int halvingsY) {
    const Key key(&image, halvingsX, halvingsY);
    if (!_latest || *_latestKey != key) {
        const auto found = _entries.try_emplace(key).first;
        _latestKey = &found->first;
        _latest = &found->second;
        if (!_latest->image) {
            prepare(*_latest, image, halvingsX, halvingsY);
        }
    }
    _latest->lastUsed = _frame;
    return _latest->texels;
}

void SpritePictures::prepare(Entry &entry, CGImage &image, int halvingsX, int halvingsY) {
    Picture picture = Picture::whole(image);
    if (halvingsX > 0 || halvingsY > 0) {
        const int width = halved(picture.width, halvingsX);
        const int height = halved(picture.height, halvingsY);
        entry.reduced = PictureScaler::reduced(picture, width, height);
        picture = {entry.reduced.data(), width, height, picture.opaque};
    }
    entry.texels = SpriteTexels(picture);
    if (!entry.texels.needsPixels()) {
        entry.reduced = {};
    }
    entry.image = Retained<CGImage>(&image);
}

void SpritePictures::endFrame() {
    _latest = nullptr;
    std::erase_if(_entries,
                  [&](const auto &pair) { return _frame - pair.second.lastUsed > kFramesKept; });
    ++_frame;
}

void SpritePictures::purge() {
    _latest = nullptr;
    _entries.clear();
}
