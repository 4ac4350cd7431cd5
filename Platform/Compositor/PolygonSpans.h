#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <span>
#include <vector>

/// Finds which pixels of each row have their centre inside a polygon. Keeps its memory.
class PolygonSpans {
  public:
    struct Point {
        double x;
        double y;
    };

    struct Span {
        int left;
        int right;
    };

    /// Looks at the pixels of `clip`, which has no negative coordinates. The polygon must not cross
    /// itself. Where it is not convex, a row's span reaches from its leftmost to its rightmost
    /// edge.
    void find(std::span<const Point> polygon, const DeviceRect &clip);

    /// Leaves no rows.
    void clear() { _top = _bottom = 0; }

    /// The rows that may have pixels; none when top() equals bottom().
    int top() const { return _top; }
    int bottom() const { return _bottom; }

    /// The span of a row in [top(), bottom()); empty when its right is not above its left.
    Span row(int y) const {
        const auto index = static_cast<std::size_t>(y - _top);
        return {std::max(_lefts[index], _clipLeft), std::min(_rights[index], _clipRight)};
    }

  private:
    void addEdge(const Point &from, const Point &to, int first, int end, bool isLeft);
    void addFarEdge(const Point &from, double slope, int first, int end, bool isLeft);

    int _top = 0;
    int _bottom = 0;
    int _clipLeft = 0;
    int _clipRight = 0;
    std::vector<int> _lefts;
    std::vector<int> _rights;
};
