#pragma once

#include "Platform/Compositor/DeviceQuad.h"
#include "Platform/Compositor/PixelArea.h"
#include "Platform/CoreGraphics/CGColor.h"

/// Draws source-over into an area. `clip` must lie within the area; weights are fractions of
/// PixelArithmetic::kFullWeight and scale what is drawn.
namespace QuadPainter {

/// The picture, whose texels fill `quad` (made with the picture's size), bilinear: texels beyond
/// the picture's edge are those at the edge, so that its own edges stay as they are up to where
/// the quad's edges fade.
void drawPicture(const PixelArea &target, const DeviceRect &clip, const Picture &picture,
                 const DeviceQuad &quad, std::uint32_t weight);

/// The picture texel by pixel, its top left one at (left, top).
void copyPicture(const PixelArea &target, const DeviceRect &clip, const Picture &picture, int left,
                 int top, std::uint32_t weight);

/// As copyPicture(), showing only what lies inside `mask`.
void copyMasked(const PixelArea &target, const DeviceRect &clip, const Picture &picture, int left,
                int top, std::uint32_t weight, const DeviceQuad &mask);

void fill(const PixelArea &target, const DeviceRect &clip, const CGColor &color,
          const DeviceQuad &quad, std::uint32_t weight);

} // namespace QuadPainter
