#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

struct _cairo_font_face;

namespace Lumivera {

/// The user's fonts, in the order in which letters are looked for. Main thread.
class TextFonts {
  public:
    /// For plain text, and for titles. Found when first asked for; they stay for the life of the
    /// process.
    static TextFonts &plain();
    static TextFonts &bold();

    /// One letter of a text, the font that has it, and its width where letters are 1 high.
    struct Letter {
        char32_t code;
        std::size_t font;
        double width;
    };

    /// Of a text in UTF-8, at most so many. Signs stand for control characters and for what is no
    /// UTF-8.
    std::vector<Letter> lettersOf(std::string_view text, std::size_t most);

    /// Stays the object's.
    _cairo_font_face *face(std::size_t font);

  private:
    struct Fonts;

    explicit TextFonts(bool isBold);

    Letter find(char32_t code);

    const std::shared_ptr<Fonts> _fonts;
    std::unordered_map<char32_t, Letter> _letters;
};

} // namespace Lumivera
