#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"

#include <string_view>

namespace Lumivera {

/// Text on a clear picture, in the user's fonts. Main thread.
class TextPicture {
  public:
    struct Style {
        /// The font size in points; a line is a third higher.
        CGFloat size = 14;
        CGColor color{1, 1, 1, 1};
        bool isBold = false;
        bool isCentred = false;
    };

    /// Draws as many lines as fit into the room, in points; "…" replaces the rest of the text. The
    /// picture has the size of the room, with `density` pixels a point. Null when no line fits, the
    /// text is empty or the picture would be too large.
    static Retained<CGImage> draw(std::string_view text, const Style &style, CGSize room,
                                  CGFloat density);

    /// The width of the text in one line, in points.
    static CGFloat width(std::string_view text, const Style &style);
};

} // namespace Lumivera
