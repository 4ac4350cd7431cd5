#include "Platform/Compositor/SpritePainter.h"

#include <cmath>

namespace {

// A row is drawn in pieces that begin at multiples of this, so that neither rounding adds up along
// it nor a pixel depends on where the clip begins.
constexpr int kPiece = 128;

// More than the rounding of positions, in texels.
constexpr double kSafely = 1.0 / 256;

constexpr std::size_t kMostRows = 512;
constexpr std::size_t kMostWeights = 8192;

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

std::int32_t stepOf(std::uint64_t fixedStep) {
    const auto rounded = (fixedStep + 0x8000) >> 16;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(rounded));
}

} // namespace

// Where pixels lie among the texel centres. All sums wrap around, and what lies within a picture
// comes out right.
class SpritePainter::Positions {
  public:
    explicit Positions(const DeviceQuad &quad, int width, int height)
        : _stepUX(fixed(quad.fromDevice().a)), _stepVX(fixed(quad.fromDevice().b)),
          _stepUY(fixed(quad.fromDevice().c)), _stepVY(fixed(quad.fromDevice().d)) {
        const Affine &map = quad.toDevice();
        const Affine &back = quad.fromDevice();
        _x = near(map.a * width / 2 + map.c * height / 2 + map.tx);
        _y = near(map.b * width / 2 + map.d * height / 2 + map.ty);
        _u = fixed(back.tx + back.a * (_x + 0.5) + back.c * (_y + 0.5) - 0.5) + kHalfStepOfU;
        _v = fixed(back.ty + back.b * (_x + 0.5) + back.d * (_y + 0.5) - 0.5) + kHalfStepOfV;
    }

    SpriteStep step() const { return {stepOf(_stepUX), stepOf(_stepVX)}; }

    std::uint32_t u(int x, int y) const { return at(_u, _stepUX, _stepUY, x, y); }
    std::uint32_t v(int x, int y) const { return at(_v, _stepVX, _stepVY, x, y); }

  private:
    // Of the fractions that samples are made with.
    static constexpr std::uint64_t kHalfStepOfU = 1 << 16;
    static constexpr std::uint64_t kHalfStepOfV = 1 << 23;

    static int near(double place) {
        return static_cast<int>(std::min(std::max(-32768.0, place), 32768.0));
    }

    std::uint32_t at(std::uint64_t start, std::uint64_t across, std::uint64_t down, int x,
                     int y) const {
        const int first = x & -kPiece;
        const std::uint64_t place = start + times(across, first - _x) + times(down, y - _y);
        return static_cast<std::uint32_t>(place >> 16) +
               static_cast<std::uint32_t>(stepOf(across)) * static_cast<std::uint32_t>(x - first);
    }

    std::uint64_t _stepUX;
    std::uint64_t _stepVX;
    std::uint64_t _stepUY;
    std::uint64_t _stepVY;
    std::uint64_t _u;
    std::uint64_t _v;
    int _x;
    int _y;
};

// What is being drawn.
struct SpritePainter::Sprite {
    const PixelArea &target;
    const SpriteTexels &texels;
    const DeviceQuad &quad;
    const std::uint32_t weight;
    const Positions positions;
    const SpriteStep step;
};

void SpritePainter::draw(const PixelArea &target, const PaintClip &clip, const SpriteTexels &texels,
                         const DeviceQuad &quad, std::uint32_t weight) {
    if (texels.outline().empty || clip.rect.isEmpty()) {
        return;
    }
    const Positions positions(quad, texels.width(), texels.height());
    const Sprite sprite{target,    texels,
                        quad,      std::min(weight / 2, PixelKernels::kSpriteWeight),
                        positions, positions.step()};
    findShown(texels, quad, clip.rect);
    const bool hasEdges = findInside(texels, quad, clip.rect);
    for (int y = _shown.top(); y < _shown.bottom(); y++) {
        clip.forEachRun(y, _shown.row(y).left, _shown.row(y).right, [&](int left, int right) {
            const PolygonSpans::Span run{left, right};
            const PolygonSpans::Span inside = hasEdges ? insideOf(run, y) : run;
            addEdge(sprite, y, left, inside.left);
            addInside(sprite, y, inside.left, inside.right);
            addEdge(sprite, y, inside.right, right);
        });
    }
    flush(sprite);
}

void SpritePainter::mark(const DeviceRect &clip, const SpriteTexels &texels, const DeviceQuad &quad,
                         CellMask &mask, CellMask *again) {
    if (texels.outline().empty || clip.isEmpty()) {
        return;
    }
    findShown(texels, quad, clip);
    for (int y = _shown.top(); y < _shown.bottom(); y++) {
        mask.add(y, _shown.row(y).left, _shown.row(y).right, again);
    }
}

// An outline that touches the picture's edge reaches to where that fades out.
void SpritePainter::findShown(const SpriteTexels &texels, const DeviceQuad &quad,
                              const DeviceRect &clip) {
    const SpriteOutline &outline = texels.outline();
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
}

// Finds what is covered wholly and has four texels around each pixel. False when that is all.
bool SpritePainter::findInside(const SpriteTexels &texels, const DeviceQuad &quad,
                               const DeviceRect &clip) {
    const SpriteOutline &outline = texels.outline();
    const double left = std::max(0.5 + kSafely, quad.unitsX() / 2);
    const double top = std::max(0.5 + kSafely, quad.unitsY() / 2);
    const double right = texels.width() - left;
    const double bottom = texels.height() - top;
    if (outline.left >= left && outline.right <= right && outline.top >= top &&
        outline.bottom <= bottom) {
        return false;
    }
    if (left < right && top < bottom) {
        const PolygonSpans::Point corners[] = {
            onDevice(quad, left, top), onDevice(quad, right, top), onDevice(quad, right, bottom),
            onDevice(quad, left, bottom)};
        _inside.find(corners, clip);
    } else {
        _inside.clear();
    }
    return true;
}

// The part of a row's run that findInside() found.
PolygonSpans::Span SpritePainter::insideOf(const PolygonSpans::Span &run, int y) const {
    if (y < _inside.top() || y >= _inside.bottom()) {
        return {run.right, run.right};
    }
    const PolygonSpans::Span &inside = _inside.row(y);
    const int left = std::max(std::min(inside.left, run.right), run.left);
    return {left, std::max(std::min(inside.right, run.right), left)};
}

void SpritePainter::addInside(const Sprite &sprite, int y, int from, int to) {
    const SpriteSource &source = sprite.texels.source();
    for (int end; from < to; from = end) {
        end = std::min((from & -kPiece) + kPiece, to);
        const SpriteRow row{sprite.target.at(from, y), end - from, sprite.positions.u(from, y),
                            sprite.positions.v(from, y)};
        // Nothing outside of the picture is ever read, however odd its place.
        const std::int64_t lastU = row.u + std::int64_t{sprite.step.u} * (row.count - 1);
        const std::int64_t lastV = row.v + std::int64_t{sprite.step.v} * (row.count - 1);
        if (row.u > std::uint32_t(source.lastU) || row.v > std::uint32_t(source.lastV) ||
            lastU < 0 || lastU > source.lastU || lastV < 0 || lastV > source.lastV) {
            addEdgeRow(sprite, y, row, from);
            continue;
        }
        if (_insideRows.size() == kMostRows) {
            flush(sprite);
        }
        _insideRows.push_back(row);
    }
}

void SpritePainter::addEdge(const Sprite &sprite, int y, int from, int to) {
    for (int end; from < to; from = end) {
        end = std::min((from & -kPiece) + kPiece, to);
        addEdgeRow(sprite, y,
                   {sprite.target.at(from, y), end - from, sprite.positions.u(from, y),
                    sprite.positions.v(from, y)},
                   from);
    }
}

void SpritePainter::addEdgeRow(const Sprite &sprite, int y, SpriteRow row, int from) {
    _weights.resize(kMostWeights);
    if (_edgeRows.size() == kMostRows || _weightsUsed + kPiece > kMostWeights) {
        flush(sprite);
    }
    const Affine &map = sprite.quad.fromDevice();
    const double u = map.tx + map.c * (y + 0.5);
    const double v = map.ty + map.d * (y + 0.5);
    std::uint32_t *const weights = &_weights[_weightsUsed];
    for (int i = 0; i < row.count; i++) {
        const double x = from + i + 0.5;
        const double coverage = sprite.quad.coverage(u + map.a * x, v + map.b * x);
        weights[i] = static_cast<std::uint32_t>(sprite.weight * coverage + 0.5);
    }
    row.weights = weights;
    _weightsUsed += static_cast<std::size_t>(row.count);
    _edgeRows.push_back(row);
}

void SpritePainter::flush(const Sprite &sprite) {
    const SpriteSource &source = sprite.texels.source();
    if (!_insideRows.empty()) {
        _kernels.drawInside(source, sprite.step, _insideRows.data(), _insideRows.size(),
                            sprite.weight);
    }
    if (!_edgeRows.empty()) {
        _kernels.drawEdges(source, sprite.step, _edgeRows.data(), _edgeRows.size());
    }
    _insideRows.clear();
    _edgeRows.clear();
    _weightsUsed = 0;
}
