#include "Platform/Compositor/SpritePainter.h"

#include <algorithm>
#include <cmath>

namespace {

// A row is drawn in pieces of this many pixels, the middle one of which has the sprite's middle in
// its own: neither does rounding add up along a row, nor does a pixel depend on where a clip
// begins.
constexpr int kPiece = SpriteRow::kMostPixels;

// Steps along a row larger than this are left to the loops that check every position.
constexpr std::uint32_t kMostStep = 1 << 23;

// More than the rounding of positions, in texels.
constexpr double kSafely = 1.0 / 128;

// With 32 fractional bits, and far from what overflows.
std::uint64_t fixed(double value) {
    constexpr double kMost = 1 << 30;
    const double bounded = std::min(std::max(-kMost, value), kMost);
    return static_cast<std::uint64_t>(
        static_cast<std::int64_t>(std::floor(bounded * 4294967296.0 + 0.5)));
}

std::uint64_t times(std::uint64_t step, int count) {
    return step * static_cast<std::uint64_t>(static_cast<std::int64_t>(count));
}

PolygonSpans::Point onDevice(const DeviceQuad &quad, double u, double v) {
    const Affine &map = quad.toDevice();
    return {map.a * u + map.c * v + map.tx, map.b * u + map.d * v + map.ty};
}

// The loops over pixels round down.
std::uint32_t weightOf(double part) {
    constexpr double kFull = PixelKernels::kSpriteWeight;
    return static_cast<std::uint32_t>(part > 0 ? std::min(part * kFull + 1, kFull) : 0);
}

std::int32_t stepOf(std::uint64_t fixedStep) {
    const auto rounded = (fixedStep + 0x8000) >> 16;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(rounded));
}

} // namespace

// Where a row's pixels would begin at the column of the sprite's middle.
struct SpritePainter::Line {
    std::uint64_t u;
    std::uint64_t v;
};

// Where pixels lie among the texel centres. All sums wrap around, and what lies within a picture
// comes out right.
class SpritePainter::Positions {
  public:
    explicit Positions(const DeviceQuad &quad, int width, int height)
        : _stepUX(fixed(quad.fromDevice().a)), _stepVX(fixed(quad.fromDevice().b)),
          _stepUY(fixed(quad.fromDevice().c)),
          _stepVY(fixed(quad.fromDevice().d)), step{stepOf(_stepUX), stepOf(_stepVX)} {
        const Affine &map = quad.toDevice();
        const Affine &back = quad.fromDevice();
        _x = near(map.a * width / 2 + map.c * height / 2 + map.tx);
        _y = near(map.b * width / 2 + map.d * height / 2 + map.ty);
        _u = fixed(back.tx + back.a * (_x + 0.5) + back.c * (_y + 0.5) - 0.5) + kHalfStepOfU;
        _v = fixed(back.ty + back.b * (_x + 0.5) + back.d * (_y + 0.5) - 0.5) + kHalfStepOfV;
    }

    Line line(int y) const { return {_u + times(_stepUY, y - _y), _v + times(_stepVY, y - _y)}; }

    void goDown(Line &line) const {
        line.u += _stepUY;
        line.v += _stepVY;
    }

    // The piece of a row from `x` up to `end` at most.
    SpriteRow piece(Line line, int x, int end) const {
        const int index = (x - _x + kPiece / 2) >> kPieceShift;
        const int middle = _x + index * kPiece;
        if (index != 0) {
            line.u += times(_stepUX, index * kPiece);
            line.v += times(_stepVX, index * kPiece);
        }
        const auto distance = static_cast<std::uint32_t>(x - middle);
        SpriteRow row;
        row.count = std::min(end, middle + kPiece / 2) - x;
        row.u = static_cast<std::uint32_t>(line.u >> 16) +
                distance * static_cast<std::uint32_t>(step.u);
        row.v = static_cast<std::uint32_t>(line.v >> 16) +
                distance * static_cast<std::uint32_t>(step.v);
        return row;
    }

  private:
    // Of the fractions that samples are made with.
    static constexpr std::uint64_t kHalfStepOfU = 1 << 15;
    static constexpr std::uint64_t kHalfStepOfV = 1 << 24;

    static constexpr int kPieceShift = 7;
    static_assert(1 << kPieceShift == kPiece);

    static int near(double place) {
        return static_cast<int>(std::min(std::max(-32768.0, place), 32768.0));
    }

    std::uint64_t _stepUX;
    std::uint64_t _stepVX;
    std::uint64_t _stepUY;
    std::uint64_t _stepVY;
    std::uint64_t _u;
    std::uint64_t _v;
    int _x;
    int _y;

  public:
    const SpriteStep step;
};

// The positions of pixels that are covered wholly and have four texels around them. Nothing outside
// of the picture is ever read, however odd its place.
class SpritePainter::Inside {
  public:
    Inside(const SpriteTexels &texels, const DeviceQuad &quad, const SpriteStep &step)
        : Inside(Side(texels.width(), quad.unitsX(), texels.source().lastU),
                 Side(texels.height(), quad.unitsY(), texels.source().lastV),
                 isSmall(step.u) && isSmall(step.v)) {}

    bool holds(const SpriteRow &row, const SpriteStep &step, int index) const {
        const auto along = static_cast<std::uint32_t>(index);
        return row.u + along * static_cast<std::uint32_t>(step.u) - _u.first < _u.count &&
               row.v + along * static_cast<std::uint32_t>(step.v) - _v.first < _v.count;
    }

    // A row lies inside when its ends do.
    bool holdsAll(const SpriteRow &row, const SpriteStep &step) const {
        return holds(row, step, 0) && holds(row, step, row.count - 1);
    }

  private:
    // Positions along one side.
    struct Side {
        Side(int texels, double unitsAPixel, std::int32_t last) {
            const double margin = std::max(0.5, unitsAPixel / 2) + kSafely;
            const double from = (margin - 0.5) * kUnit;
            const double to = std::min<double>((texels - margin - 0.5) * kUnit, last);
            if (from <= to) {
                first = static_cast<std::uint32_t>(from);
                count = static_cast<std::uint32_t>(to) - first + 1;
            }
        }

        static constexpr double kUnit = 65536;

        std::uint32_t first = 0;
        std::uint32_t count = 0;
    };

    Inside(const Side &u, const Side &v, bool canCheck) : _u(u), _v(v) {
        if (!canCheck) {
            _u.count = 0;
        }
    }

    static bool isSmall(std::int32_t step) {
        return static_cast<std::uint32_t>(step) + kMostStep < 2 * kMostStep;
    }

    Side _u;
    Side _v;
};

// What is being drawn.
struct SpritePainter::Sprite {
    const PixelArea &target;
    const SpriteTexels &texels;
    const DeviceQuad &quad;
    const double opacity;
    const Positions positions;
    const Inside inside;
};

inline void SpritePainter::addRun(const Sprite &sprite, const Line &line, int y, int from, int to) {
    while (from < to) {
        SpriteRow row = sprite.positions.piece(line, from, to);
        row.pixels = sprite.target.at(from, y);
        if (sprite.inside.holdsAll(row, sprite.positions.step)) {
            addInsideRow(sprite, row);
        } else {
            addParts(sprite, y, row, from);
        }
        from += row.count;
    }
}

inline void SpritePainter::addInsideRow(const Sprite &sprite, const SpriteRow &row) {
    if (_insideCount == kMostRows) {
        flush(sprite);
    }
    _insideRows[_insideCount++] = row;
}

template <class Spans>
void SpritePainter::draw(const PixelArea &target, const PaintClip &clip, const SpriteTexels &texels,
                         const DeviceQuad &quad, std::uint32_t weight, const Spans &shown) {
    if (shown.top() == shown.bottom()) {
        return;
    }
    fetch(texels);
    const Positions positions(quad, texels.width(), texels.height());
    const Sprite sprite{target,           texels,    quad,
                        weight / 65536.0, positions, Inside(texels, quad, positions.step)};
    Line line = positions.line(shown.top());
    for (int y = shown.top(); y < shown.bottom(); y++) {
        const PolygonSpans::Span span = shown.row(y);
        clip.forEachRun(y, span.left, span.right,
                        [&](int left, int right) { addRun(sprite, line, y, left, right); });
        positions.goDown(line);
    }
    flush(sprite);
}

template void SpritePainter::draw(const PixelArea &, const PaintClip &, const SpriteTexels &,
                                  const DeviceQuad &, std::uint32_t, const PolygonSpans &);
template void SpritePainter::draw(const PixelArea &, const PaintClip &, const SpriteTexels &,
                                  const DeviceQuad &, std::uint32_t, const PolygonSpans::Kept &);

void SpritePainter::fetch(const SpriteTexels &texels) {
    const auto end = _fetched.begin() + _fetchedCount;
    if (_fetchedCount < kMostFetched && std::find(_fetched.begin(), end, &texels) == end) {
        _fetched[_fetchedCount++] = &texels;
        texels.fetch();
    }
}

// An outline that touches the picture's edge reaches to where that fades out.
const PolygonSpans &SpritePainter::findShown(const SpriteTexels &texels, const DeviceQuad &quad,
                                             const DeviceRect &clip) {
    const SpriteOutline &outline = texels.outline();
    if (outline.empty || clip.isEmpty()) {
        _shown.clear();
        return _shown;
    }
    const auto widened = [](double place, int side, double units) {
        return place <= 0 ? -units / 2 : place >= side ? side + units / 2 : place;
    };
    std::array<PolygonSpans::Point, SpriteOutline::kCorners> corners;
    for (std::size_t i = 0; i < corners.size(); i++) {
        const SpriteOutline::Corner &corner = outline.corners[i];
        corners[i] = onDevice(quad, widened(corner.u, texels.width(), quad.unitsX()),
                              widened(corner.v, texels.height(), quad.unitsY()));
    }
    _shown.find(corners, clip);
    return _shown;
}

// At most one part in the middle is inside.
void SpritePainter::addParts(const Sprite &sprite, int y, SpriteRow row, int from) {
    const SpriteStep &step = sprite.positions.step;
    int left = 0;
    int right = row.count;
    while (left < right && !sprite.inside.holds(row, step, left)) {
        left++;
    }
    while (left < right && !sprite.inside.holds(row, step, right - 1)) {
        right--;
    }
    if (left < right) {
        addInsideRow(sprite, row.part(step, left, right));
    }
    if (left > 0) {
        addEdgeRow(sprite, y, row.part(step, 0, left), from);
    }
    if (right < row.count) {
        addEdgeRow(sprite, y, row.part(step, right, row.count), from + right);
    }
}

void SpritePainter::addEdgeRow(const Sprite &sprite, int y, SpriteRow row, int from) {
    if (_edgeCount == kMostRows || _weightCount + kPiece > kMostWeights) {
        flush(sprite);
    }
    const Affine &map = sprite.quad.fromDevice();
    const double u = map.tx + map.c * (y + 0.5);
    const double v = map.ty + map.d * (y + 0.5);
    std::uint32_t *const weights = &_weights[_weightCount];
    for (int i = 0; i < row.count; i++) {
        const double x = from + i + 0.5;
        const double coverage = sprite.quad.coverage(u + map.a * x, v + map.b * x);
        weights[i] = weightOf(sprite.opacity * coverage);
    }
    row.weights = weights;
    _weightCount += static_cast<std::size_t>(row.count);
    _edgeRows[_edgeCount++] = row;
}

void SpritePainter::flush(const Sprite &sprite) {
    const SpriteSource &source = sprite.texels.source();
    if (_insideCount > 0) {
        _kernels.drawInside(source, sprite.positions.step, _insideRows.data(), _insideCount,
                            weightOf(sprite.opacity));
    }
    if (_edgeCount > 0) {
        _kernels.drawEdges(source, sprite.positions.step, _edgeRows.data(), _edgeCount);
    }
    _insideCount = _edgeCount = _weightCount = 0;
}
