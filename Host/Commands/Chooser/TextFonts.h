#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

struct _cairo_font_face;

namespace Lumivera {

/// The user's fonts, in the order in which a letter is looked up. Main thread.
class TextFonts {
  public:
    /// The fonts for plain text and for titles. Made on first use; never destroyed.
    static TextFonts &plain();
    static TextFonts &bold();

    /// A letter, the index of the font that has it, and its width at font size 1.
    struct Letter {
        char32_t code;
        std::size_t font;
        double width;
    };

    /// The first `most` letters of a UTF-8 text. Control characters and invalid bytes become
    /// replacement signs.
    std::vector<Letter> lettersOf(std::string_view text, std::size_t most);

    /// The cairo face of a font, owned by this object.
    _cairo_font_face *face(std::size_t font);

  private:
    struct Fonts;

    explicit TextFonts(bool isBold);

    Letter find(char32_t code);

    const std::shared_ptr<Fonts> _fonts;
    std::unordered_map<char32_t, Letter> _letters;
};

} // namespace Lumivera
