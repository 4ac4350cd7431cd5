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
        /// Of the letters, in points; a line is higher by a third.
        CGFloat size = 14;
        CGColor color{1, 1, 1, 1};
        bool isBold = false;
        bool isCentred = false;
    };

    /// In as many lines as the room takes, in points; "…" stands for what is left out. The picture
    /// is as large as the room, with so many pixels a point. Null where no line fits, for an empty
    /// text, and for a picture that cannot be.
    static Retained<CGImage> draw(std::string_view text, const Style &style, CGSize room,
                                  CGFloat density);

    /// How wide the text is in one line.
    static CGFloat width(std::string_view text, const Style &style);
};

} // namespace Lumivera
