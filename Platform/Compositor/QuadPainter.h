#pragma once

#include "Platform/Compositor/PixelArea.h"
#include "Platform/Compositor/PixelKernels.h"
#include "Platform/Compositor/ProjectiveQuad.h"
#include "Platform/Compositor/SpritePictures.h"
#include "Platform/CoreGraphics/CGColor.h"

/// Draws all but sprites: copies, fills, masked copies, and pictures in perspective. Everything is
/// drawn source-over and scaled by a weight, a fraction of PixelArithmetic::kFullWeight. `clip`
/// must lie within the target.
class QuadPainter {
  public:
    explicit QuadPainter(const PixelKernels &kernels) : _kernels(kernels) {}

    /// Sets pixels to a value instead of blending.
    static void clear(const PixelArea &target, const PaintClip &clip, std::uint32_t pixel);

    /// Copies a picture texel by pixel, its top left one at (left, top).
    void copy(const PixelArea &target, const PaintClip &clip, const Picture &picture, int left,
              int top, std::uint32_t weight) const;

    /// Copies what the mask covers of a picture texel by pixel. The picture is as large as the clip
    /// and lies upon it.
    void copyMasked(const PixelArea &target, const PaintClip &clip, const Picture &picture,
                    std::uint32_t weight, const DeviceQuad &mask) const;
    void copyMasked(const PixelArea &target, const PaintClip &clip, const Picture &picture,
                    std::uint32_t weight, const ProjectiveQuad &mask) const;

    void fill(const PixelArea &target, const PaintClip &clip, const CGColor &color,
              std::uint32_t weight, const DeviceQuad &quad) const;
    void fill(const PixelArea &target, const PaintClip &clip, const CGColor &color,
              std::uint32_t weight, const ProjectiveQuad &quad) const;

    /// Fills the quad with the texels, bilinear. Beyond the picture's edge the texels are those at
    /// the edge.
    void drawPicture(const PixelArea &target, const PaintClip &clip, const SpriteTexels &texels,
                     std::uint32_t weight, const ProjectiveQuad &quad) const;

  private:
    void copyRow(const std::uint32_t *source, std::uint32_t *target, int count, bool opaque,
                 std::uint32_t weight) const;

    const PixelKernels &_kernels;
};
