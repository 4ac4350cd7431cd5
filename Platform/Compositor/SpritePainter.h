#pragma once

#include "Platform/Compositor/DeviceQuad.h"
#include "Platform/Compositor/PaintClip.h"
#include "Platform/Compositor/PixelArea.h"
#include "Platform/Compositor/PolygonSpans.h"
#include "Platform/Compositor/SpriteTexels.h"

/// Draws pictures that are turned, scaled or between pixels. Texels beyond a picture's edge are
/// those at the edge, so that its own edges stay as they are up to where the quad's edges fade. A
/// pixel comes out the same whatever the clip. Keeps its memory.
class SpritePainter {
  public:
    explicit SpritePainter(const PixelKernels &kernels) : _kernels(kernels) {}

    /// Begins a picture: since the one before, others have had the processor's cache.
    void begin() { _fetchedCount = 0; }

    /// Which pixels of `clip` draw() may change, row by row. The texels fill `quad`, which was made
    /// with their size. Valid until the next call.
    const PolygonSpans &findShown(const SpriteTexels &texels, const DeviceQuad &quad,
                                  const DeviceRect &clip);

    /// `clip` must lie within the target, and `shown` be of it; `weight` is of 65536.
    template <class Spans>
    void draw(const PixelArea &target, const PaintClip &clip, const SpriteTexels &texels,
              const DeviceQuad &quad, std::uint32_t weight, const Spans &shown);

  private:
    class Positions;
    class Inside;
    struct Line;
    struct Sprite;

    void addRun(const Sprite &sprite, const Line &line, int y, int from, int to);
    void addInsideRow(const Sprite &sprite, const SpriteRow &row);
    void addParts(const Sprite &sprite, int y, SpriteRow row, int from);
    void addEdgeRow(const Sprite &sprite, int y, SpriteRow row, int from);
    void flush(const Sprite &sprite);

    void fetch(const SpriteTexels &texels);

    const PixelKernels &_kernels;
    PolygonSpans _shown;

    // Those of this picture; of more, looking for them would cost too much.
    static constexpr std::size_t kMostFetched = 16;
    std::array<const SpriteTexels *, kMostFetched> _fetched;
    std::size_t _fetchedCount = 0;

    // What the loops over pixels get next.
    static constexpr std::size_t kMostRows = 256;
    static constexpr std::size_t kMostWeights = 4096;
    std::array<SpriteRow, kMostRows> _insideRows;
    std::array<SpriteRow, kMostRows> _edgeRows;
    std::array<std::uint32_t, kMostWeights> _weights;
    std::size_t _insideCount = 0;
    std::size_t _edgeCount = 0;
    std::size_t _weightCount = 0;
};
