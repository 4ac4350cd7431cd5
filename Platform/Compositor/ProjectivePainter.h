#pragma once

#include "Platform/Compositor/PaintClip.h"
#include "Platform/Compositor/PixelArea.h"
#include "Platform/Compositor/ProjectiveQuad.h"
#include "Platform/Compositor/SpriteTexels.h"
#include "Platform/CoreGraphics/CGColor.h"

/// Draws what is seen in perspective, source-over. `clip` must lie within the target; `weight` is
/// of 65536.
namespace ProjectivePainter {

/// The texels fill the quad, bilinear; beyond the picture's edge they are those at the edge.
void drawPicture(const PixelArea &target, const PaintClip &clip, const SpriteTexels &texels,
                 const ProjectiveQuad &quad, std::uint32_t weight);

/// The picture texel by pixel, its top left one at that of the clip, where the quad covers it.
void copyMasked(const PixelArea &target, const PaintClip &clip, const Picture &picture,
                std::uint32_t weight, const ProjectiveQuad &mask);

void fill(const PixelArea &target, const PaintClip &clip, const CGColor &color,
          const ProjectiveQuad &quad, std::uint32_t weight);

} // namespace ProjectivePainter
