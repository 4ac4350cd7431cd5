#pragma once

#include "Platform/Compositor/ColumnPicture.h"
#include "Platform/Compositor/DeviceQuad.h"
#include "Platform/Compositor/PaintClip.h"
#include "Platform/Compositor/PixelArea.h"
#include "Platform/Compositor/PixelKernels.h"
#include "Platform/CoreGraphics/CGColor.h"

/// Draws source-over into an area. `clip` must lie within the area; weights are fractions of
/// PixelArithmetic::kFullWeight and scale what is drawn.
namespace QuadPainter {

/// The picture texel by pixel, its top left one at (left, top).
void copyPicture(const PixelKernels &kernels, const PixelArea &target, const PaintClip &clip,
                 const Picture &picture, int left, int top, std::uint32_t weight);

/// The picture's part within the clip, which lies in the picture's area.
void copyColumns(const PixelKernels &kernels, const PixelArea &target, const PaintClip &clip,
                 const ColumnPicture &picture, std::uint32_t weight);

/// As copyPicture(), showing only what lies inside `mask`.
void copyMasked(const PixelKernels &kernels, const PixelArea &target, const PaintClip &clip,
                const Picture &picture, int left, int top, std::uint32_t weight,
                const DeviceQuad &mask);

void fill(const PixelKernels &kernels, const PixelArea &target, const PaintClip &clip,
          const CGColor &color, const DeviceQuad &quad, std::uint32_t weight);

} // namespace QuadPainter
