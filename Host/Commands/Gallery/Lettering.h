#pragma once

#include "Host/Commands/Gallery/GalleryCanvas.h"

#include <string_view>

namespace Lumivera {

/// Draws text with built-in stroke letters: lower case, digits and the signs that labels need. It
/// looks the same on every machine, with or without fonts.
class Lettering {
  public:
    /// The width of a text whose letters are `size` high, from the descenders to the ascenders. A
    /// character without a letter is as wide as a space.
    static CGFloat width(std::u32string_view text, CGFloat size);

    /// Draws the text; `start` is the left end of the baseline.
    static void write(GalleryCanvas &canvas, std::u32string_view text, CGPoint start, CGFloat size,
                      const CGColor &color);

    static bool hasLetter(char32_t letter);
};

} // namespace Lumivera
