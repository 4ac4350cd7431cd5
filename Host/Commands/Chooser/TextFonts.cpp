#include "Host/Commands/Chooser/TextFonts.h"

#include "Platform/Foundation/NSString.h"

#include <cairo-ft.h>
#include <cairo.h>
#include <fontconfig/fontconfig.h>
#include <iterator>
#include <string>
#include <utf8.h>

namespace Lumivera {

namespace {

constexpr double kMeasuredSize = 64;

FcPattern *patternFor(bool isBold) {
    FcPattern *pattern = FcPatternCreate();
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8 *>("sans-serif"));
    FcPatternAddInteger(pattern, FC_WEIGHT, isBold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    return pattern;
}

bool hasLetter(FcPattern *font, char32_t code) {
    FcCharSet *letters = nullptr;
    return FcPatternGetCharSet(font, FC_CHARSET, 0, &letters) == FcResultMatch &&
           FcCharSetHasChar(letters, code);
}

/// Switches hinting off, so that widths are proportional to the size.
double widthOf(cairo_font_face_t *face, const std::string &letter) {
    cairo_matrix_t size;
    cairo_matrix_t plain;
    cairo_matrix_init_scale(&size, kMeasuredSize, kMeasuredSize);
    cairo_matrix_init_identity(&plain);
    cairo_font_options_t *options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_scaled_font_t *font = cairo_scaled_font_create(face, &size, &plain, options);
    cairo_text_extents_t extents{};
    cairo_scaled_font_text_extents(font, letter.c_str(), &extents);
    cairo_scaled_font_destroy(font);
    cairo_font_options_destroy(options);
    return extents.x_advance / kMeasuredSize;
}

} // namespace

/// The fonts, best first. Faces are made on first use; without any font cairo has a built-in one.
struct TextFonts::Fonts {
    explicit Fonts(bool isBold) : pattern(patternFor(isBold)) {
        FcResult result = FcResultMatch;
        set = FcFontSort(nullptr, pattern, FcTrue, nullptr, &result);
        faces.resize(count() > 0 ? count() : 1);
    }
    ~Fonts() {
        for (cairo_font_face_t *face : faces) {
            cairo_font_face_destroy(face);
        }
        if (set) {
            FcFontSetDestroy(set);
        }
        FcPatternDestroy(pattern);
    }
    Fonts(const Fonts &) = delete;
    Fonts &operator=(const Fonts &) = delete;

    std::size_t count() const { return set ? static_cast<std::size_t>(set->nfont) : 0; }

    cairo_font_face_t *makeFace(std::size_t font) const {
        if (font >= count()) {
            return cairo_toy_font_face_create("", CAIRO_FONT_SLANT_NORMAL,
                                              CAIRO_FONT_WEIGHT_NORMAL);
        }
        FcPattern *ready = FcFontRenderPrepare(nullptr, pattern, set->fonts[font]);
        cairo_font_face_t *face = cairo_ft_font_face_create_for_pattern(ready);
        FcPatternDestroy(ready);
        return face;
    }

    FcPattern *const pattern;
    FcFontSet *set = nullptr;
    std::vector<cairo_font_face_t *> faces;
};

/// Never destroyed, because the libraries' own static data may be destroyed earlier.
TextFonts &TextFonts::plain() {
    static auto *const fonts = new TextFonts(false);
    return *fonts;
}

TextFonts &TextFonts::bold() {
    static auto *const fonts = new TextFonts(true);
    return *fonts;
}

TextFonts::TextFonts(bool isBold) : _fonts(std::make_shared<Fonts>(isBold)) {}

std::vector<TextFonts::Letter> TextFonts::lettersOf(std::string_view text, std::size_t most) {
    const std::string_view beginning = text.substr(0, most * 4);
    const std::string shown = withoutControls(utf8::replace_invalid(beginning, U'\uFFFD'));
    std::vector<Letter> letters;
    for (auto at = shown.begin(); at != shown.end() && letters.size() < most;) {
        letters.push_back(find(utf8::next(at, shown.end())));
    }
    return letters;
}

_cairo_font_face *TextFonts::face(std::size_t font) {
    cairo_font_face_t *&face = _fonts->faces[font];
    if (!face) {
        face = _fonts->makeFace(font);
    }
    return face;
}

TextFonts::Letter TextFonts::find(char32_t code) {
    const auto known = _letters.find(code);
    if (known != _letters.end()) {
        return known->second;
    }
    Letter letter{code, 0, 0};
    while (letter.font < _fonts->count() && !hasLetter(_fonts->set->fonts[letter.font], code)) {
        ++letter.font;
    }
    if (letter.font >= _fonts->count()) {
        letter.font = 0;
    }
    std::string bytes;
    utf8::append(code, std::back_inserter(bytes));
    letter.width = widthOf(face(letter.font), bytes);
    return _letters.emplace(code, letter).first->second;
}

} // namespace Lumivera
