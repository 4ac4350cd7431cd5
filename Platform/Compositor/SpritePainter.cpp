#include "Platform/Compositor/SpritePainter.h"

#include "Platform/Compositor/PixelArithmetic.h"

#include <algorithm>
#include <cmath>

namespace {

/// A row is drawn in pieces of this many pixels, laid out from the sprite's middle, so that
/// rounding errors do not add up along a row and no pixel depends on where a clip begins.
constexpr int kPiece = SpriteRow::kMaxPixels;

/// Rows with larger steps than this are left to the loop that checks every position.
constexpr std::uint32_t kMaxStep = 1 << 23;

/// Texels. Rounding moves positions by less than this.
constexpr double kSafety = 1.0 / 128;

/// Converts to 32 fractional bits, limited to values that do not overflow.
std::uint64_t fixed(double value) {
    constexpr double kMax = 1 << 30;
    const double bounded = std::min(std::max(-kMax, value), kMax);
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

/// The weight of a part of 1. Adds one, because the loops over pixels round down.
std::uint32_t weightOf(double part) {
    constexpr double kFull = PixelKernels::kSpriteWeight;
    return static_cast<std::uint32_t>(part > 0 ? std::min(part * kFull + 1, kFull) : 0);
}

std::int32_t stepOf(std::uint64_t fixedStep) {
    const auto rounded = (fixedStep + 0x8000) >> 16;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(rounded));
}

} // namespace

/// An outline that touches the picture's edge is widened to where that edge fades out.
void Sprite::findShown(const DeviceRect &clip, PolygonSpans &shown) const {
    const SpriteOutline &outline = texels->outline();
    if (outline.empty || clip.isEmpty()) {
        shown.clear();
        return;
    }
    const auto widened = [](double place, int side, double units) {
        return place <= 0 ? -units / 2 : place >= side ? side + units / 2 : place;
    };
    std::array<PolygonSpans::Point, SpriteOutline::kCorners> corners;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const SpriteOutline::Corner &corner = outline.corners[i];
        corners[i] = onDevice(quad, widened(corner.u, texels->width(), quad.unitsX()),
                              widened(corner.v, texels->height(), quad.unitsY()));
    }
    shown.find(corners, clip);
}

/// The texel position of one pixel of a row: the pixel in the column of the sprite's middle.
struct SpritePainter::Line {
    std::uint64_t u;
    std::uint64_t v;
};

/// Computes the positions of pixels among the texel centres. Sums wrap around, which does no harm
/// to positions within the picture.
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

    // The pixels from `x` to the end of the piece that `x` lies in, or to `end` if that comes
    // first.
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
    // Rounds positions: half of the step to which samples round their fractions.
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

/// Tells which pixels are covered wholly and have four texels around them. Whatever the quad,
/// nothing outside of the picture is read.
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

    // Checks only the ends of the row, because the inside is convex.
    bool holdsAll(const SpriteRow &row, const SpriteStep &step) const {
        return holds(row, step, 0) && holds(row, step, row.count - 1);
    }

  private:
    // The positions along one axis that are inside.
    struct Side {
        Side(int texels, double unitsAPixel, std::int32_t last) {
            const double margin = std::max(0.5, unitsAPixel / 2) + kSafety;
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
        return static_cast<std::uint32_t>(step) + kMaxStep < 2 * kMaxStep;
    }

    Side _u;
    Side _v;
};

/// A sprite that is being drawn.
struct SpritePainter::Job {
    const PixelArea &target;
    const SpriteSource &source;
    const DeviceQuad &quad;
    const double opacity;
    const Positions positions;
    const Inside inside;
};

inline void SpritePainter::addRun(const Job &job, const Line &line, int y, int from, int to) {
    while (from < to) {
        SpriteRow row = job.positions.piece(line, from, to);
        row.pixels = job.target.at(from, y);
        if (job.inside.holdsAll(row, job.positions.step)) {
            addInsideRow(job, row);
        } else {
            addParts(job, y, row, from);
        }
        from += row.count;
    }
}

inline void SpritePainter::addInsideRow(const Job &job, const SpriteRow &row) {
    if (_insideCount == kMaxRows) {
        flush(job);
    }
    _insideRows[_insideCount++] = row;
}

void SpritePainter::draw(const PixelArea &target, const PaintClip &clip, const Sprite &sprite,
                         std::uint32_t weight) {
    sprite.findShown(clip.rect, _shown);
    if (_shown.top() == _shown.bottom()) {
        return;
    }
    const SpriteTexels &texels = *sprite.texels;
    const Positions positions(sprite.quad, texels.width(), texels.height());
    const Job job{target,      texels.source(),
                  sprite.quad, static_cast<double>(weight) / PixelArithmetic::kFullWeight,
                  positions,   Inside(texels, sprite.quad, positions.step)};
    Line line = positions.line(_shown.top());
    for (int y = _shown.top(); y < _shown.bottom(); ++y) {
        const PolygonSpans::Span span = _shown.row(y);
        clip.forEachRun(y, span.left, span.right,
                        [&](int left, int right) { addRun(job, line, y, left, right); });
        positions.goDown(line);
    }
    flush(job);
}

/// Splits a row: at most one part, in the middle, is inside.
void SpritePainter::addParts(const Job &job, int y, SpriteRow row, int from) {
    const SpriteStep &step = job.positions.step;
    int left = 0;
    int right = row.count;
    while (left < right && !job.inside.holds(row, step, left)) {
        ++left;
    }
    while (left < right && !job.inside.holds(row, step, right - 1)) {
        --right;
    }
    if (left < right) {
        addInsideRow(job, row.part(step, left, right));
    }
    if (left > 0) {
        addEdgeRow(job, y, row.part(step, 0, left), from);
    }
    if (right < row.count) {
        addEdgeRow(job, y, row.part(step, right, row.count), from + right);
    }
}

void SpritePainter::addEdgeRow(const Job &job, int y, SpriteRow row, int from) {
    if (_edgeCount == kMaxRows || _weightCount + kPiece > kMaxWeights) {
        flush(job);
    }
    std::uint32_t *const weights = &_weights[_weightCount];
    for (int i = 0; i < row.count; ++i) {
        weights[i] = weightOf(job.opacity * job.quad.coverage(from + i, y));
    }
    row.weights = weights;
    _weightCount += static_cast<std::size_t>(row.count);
    _edgeRows[_edgeCount++] = row;
}

void SpritePainter::flush(const Job &job) {
    const SpriteSource &source = job.source;
    if (_insideCount > 0) {
        _kernels.drawInside(source, job.positions.step, _insideRows.data(), _insideCount,
                            weightOf(job.opacity));
    }
    if (_edgeCount > 0) {
        _kernels.drawEdges(source, job.positions.step, _edgeRows.data(), _edgeCount);
    }
    _insideCount = _edgeCount = _weightCount = 0;
}
