#pragma once

#include "Host/Commands/Gallery/GalleryCanvas.h"

#include <string_view>

namespace Lumivera {

/// Writing in letters of our own, drawn as strokes: small letters, digits and the few signs that
/// labels need. It looks the same on every machine, with or without fonts.
class Lettering {
  public:
    /// How wide the text is when its letters are `size` high, from the deepest to the tallest. What
    /// has no letter takes the room of a space.
    static CGFloat width(std::u32string_view text, CGFloat size);

    /// Writes the text from `start` on, on the line on which the letters stand.
    static void write(GalleryCanvas &canvas, std::u32string_view text, CGPoint start, CGFloat size,
                      const CGColor &color);

    static bool hasLetter(char32_t letter);
};

} // namespace Lumivera
