#include "Platform/Compositor/SpriteOutline.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace {

using Corner = SpriteOutline::Corner;

constexpr int kSides = SpriteOutline::kCorners;

// How far the picture reaches in evenly spread directions.
class Reach {
  public:
    Reach() {
        _farthest.fill(-std::numeric_limits<double>::infinity());
        for (int side = 0; side < kSides; side++) {
            const double angle = 2 * std::numbers::pi * side / kSides;
            _directions[side] = {std::cos(angle), std::sin(angle)};
        }
        // The axes to the bit, so that what touches the picture's edge is known to.
        _directions[0] = {1, 0};
        _directions[kSides / 4] = {0, 1};
        _directions[kSides / 2] = {-1, 0};
        _directions[kSides * 3 / 4] = {0, -1};
    }

    void add(const Corner &point) {
        for (int side = 0; side < kSides; side++) {
            const Corner &direction = _directions[side];
            _farthest[side] =
                std::max(_farthest[side], point.u * direction.u + point.v * direction.v);
        }
    }

    // Where a side meets the next one.
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

// Rounding moves a corner by less.
double onEdge(double value, double edge) { return std::abs(value - edge) < 1e-6 ? edge : value; }

} // namespace

SpriteOutline SpriteOutline::around(const Picture &picture) {
    SpriteOutline result;
    Reach reach;
    for (int y = 0; y < picture.height; y++) {
        const std::uint32_t *const row = picture.at(0, y);
        const auto shows = [](std::uint32_t pixel) { return pixel != 0; };
        const std::uint32_t *const end = row + picture.width;
        const std::uint32_t *const first = std::find_if(row, end, shows);
        if (first == end) {
            continue;
        }
        const std::uint32_t *last = end - 1;
        while (!shows(*last)) {
            last--;
        }
        result.empty = false;
        // A texel takes part in samples up to the middles of those beside it.
        for (const double v : {std::max(y - 0.5, 0.0), std::min<double>(y + 1.5, picture.height)}) {
            reach.add({std::max(first - row - 0.5, 0.0), v});
            reach.add({std::min<double>(last - row + 1.5, picture.width), v});
        }
    }
    if (result.empty) {
        return result;
    }
    for (int side = 0; side < kCorners; side++) {
        Corner &corner = result.corners[side] = reach.corner(side);
        corner.u = onEdge(onEdge(corner.u, 0), picture.width);
        corner.v = onEdge(onEdge(corner.v, 0), picture.height);
    }
    const auto across = [](const Corner &a, const Corner &b) { return a.u < b.u; };
    const auto down = [](const Corner &a, const Corner &b) { return a.v < b.v; };
    const auto [left, right] =
        std::minmax_element(result.corners.begin(), result.corners.end(), across);
    const auto [top, bottom] =
        std::minmax_element(result.corners.begin(), result.corners.end(), down);
    result.left = left->u;
    result.right = right->u;
    result.top = top->v;
    result.bottom = bottom->v;
    return result;
}
