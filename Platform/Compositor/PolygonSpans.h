#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <span>
#include <vector>

/// Which pixels of each row have their centre inside a polygon. Keeps its memory.
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

    /// Of the pixels of `clip`, which holds no negative ones; between a row's outermost edges when
    /// the polygon is not convex. It must not cross itself.
    void find(std::span<const Point> polygon, const DeviceRect &clip);

    /// As of a polygon without area.
    void clear() { _top = _bottom = 0; }

    /// The rows that may have pixels; none when top() equals bottom().
    int top() const { return _top; }
    int bottom() const { return _bottom; }

    /// Of a row in [top(), bottom()); empty when its right is not above its left.
    Span row(int y) const {
        const auto index = static_cast<std::size_t>(y - _top);
        return {std::max(_lefts[index], _clipLeft), std::min(_rights[index], _clipRight)};
    }

    /// Those of all rows, the pixels of another clip only; as here, but kept elsewhere.
    class Kept {
      public:
        /// `spans` has one for each row in [top, bottom). Not owned.
        Kept(const Span *spans, int top, int bottom, const DeviceRect &clip)
            : _spans(spans), _firstRow(top), _top(std::max(top, clip.top)),
              _bottom(std::max(_top, std::min(bottom, clip.bottom))), _clipLeft(clip.left),
              _clipRight(clip.right) {}

        int top() const { return _top; }
        int bottom() const { return _bottom; }

        Span row(int y) const {
            const Span &span = _spans[y - _firstRow];
            return {std::max(span.left, _clipLeft), std::min(span.right, _clipRight)};
        }

      private:
        const Span *_spans;
        int _firstRow;
        int _top;
        int _bottom;
        int _clipLeft;
        int _clipRight;
    };

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
