#pragma once

#include "Platform/Compositor/DeviceQuad.h"
#include "Platform/Compositor/PolygonSpans.h"
#include "Platform/Compositor/SpritePictures.h"

/// A picture that is turned, scaled or between pixels: texels that fill a quad, which was made with
/// their size. Beyond the picture's edge the texels are those at the edge, up to where the quad's
/// antialiased edges end.
struct Sprite {
    /// Not owned.
    const SpriteTexels *texels;
    DeviceQuad quad;

    /// Finds the pixels of `clip` that drawing the sprite may change.
    void findShown(const DeviceRect &clip, PolygonSpans &shown) const;
};

/// Draws sprites source-over. The clip never changes the value of a pixel that is drawn. Keeps its
/// memory.
class SpritePainter {
  public:
    explicit SpritePainter(const PixelKernels &kernels) : _kernels(kernels) {}

    /// `clip` must lie within the target; `weight` is a fraction of PixelArithmetic::kFullWeight.
    void draw(const PixelArea &target, const PaintClip &clip, const Sprite &sprite,
              std::uint32_t weight);

  private:
    class Positions;
    class Inside;
    struct Line;
    struct Job;

    void addRun(const Job &job, const Line &line, int y, int from, int to);
    void addInsideRow(const Job &job, const SpriteRow &row);
    void addParts(const Job &job, int y, SpriteRow row, int from);
    void addEdgeRow(const Job &job, int y, SpriteRow row, int from);
    void flush(const Job &job);

    const PixelKernels &_kernels;
    PolygonSpans _shown;

    // Rows that were found but not drawn yet, because the loops over pixels take many rows a call.
    static constexpr std::size_t kMaxRows = 256;
    static constexpr std::size_t kMaxWeights = 4096;
    std::array<SpriteRow, kMaxRows> _insideRows;
    std::array<SpriteRow, kMaxRows> _edgeRows;
    std::array<std::uint32_t, kMaxWeights> _weights;
    std::size_t _insideCount = 0;
    std::size_t _edgeCount = 0;
    std::size_t _weightCount = 0;
};
