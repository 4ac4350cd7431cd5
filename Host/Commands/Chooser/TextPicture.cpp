#include "Host/Commands/Chooser/TextPicture.h"

#include "Host/Commands/Chooser/TextFonts.h"

#include <algorithm>
#include <cairo.h>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <utf8.h>
#include <vector>

namespace Lumivera {

namespace {

using Letters = std::vector<TextFonts::Letter>;

constexpr std::size_t kMaxLetters = 1000;
constexpr CGFloat kLineHeight = 4.0 / 3;
constexpr CGFloat kAboveLine = 1.02;

struct SurfaceEnd {
    void operator()(cairo_surface_t *surface) const { cairo_surface_destroy(surface); }
};

struct ContextEnd {
    void operator()(cairo_t *context) const { cairo_destroy(context); }
};

TextFonts &fontsFor(const TextPicture::Style &style) {
    return style.isBold ? TextFonts::bold() : TextFonts::plain();
}

double widthOf(const Letters &letters) {
    double width = 0;
    for (const TextFonts::Letter &letter : letters) {
        width += letter.width;
    }
    return width;
}

/// A line may break after a space, and in a path after a slash.
bool mayEndBehind(char32_t code) { return code == U' ' || code == U'/' || code == U'-'; }

/// The end of the line that begins at `start`: after a word, or within one that is too long.
std::size_t endOfLine(const Letters &letters, std::size_t start, double room) {
    double width = 0;
    std::size_t end = start;
    for (std::size_t i = start; i < letters.size(); ++i) {
        width += letters[i].width;
        if (width > room && letters[i].code != U' ') {
            return end > start ? end : std::max(i, start + 1);
        }
        end = mayEndBehind(letters[i].code) ? i + 1 : end;
    }
    return letters.size();
}

/// The rest of a text as one line, shortened to the room.
void shorten(Letters &line, const TextFonts::Letter &dots, double room) {
    if (widthOf(line) <= room) {
        return;
    }
    while (!line.empty() && (widthOf(line) + dots.width > room || line.back().code == U' ')) {
        line.pop_back();
    }
    line.push_back(dots);
}

std::vector<Letters> linesOf(const Letters &letters, const TextFonts::Letter &dots, double room,
                             std::size_t most) {
    std::vector<Letters> lines;
    const auto at = [&](std::size_t i) { return letters.begin() + static_cast<std::ptrdiff_t>(i); };
    for (std::size_t start = 0; start < letters.size() && lines.size() < most;) {
        const bool isLast = lines.size() + 1 == most;
        const std::size_t end = isLast ? letters.size() : endOfLine(letters, start, room);
        Letters line(at(start), at(end));
        while (!line.empty() && line.back().code == U' ') {
            line.pop_back();
        }
        shorten(line, dots, room);
        lines.push_back(std::move(line));
        start = end;
    }
    return lines;
}

/// Draws consecutive letters of the same font in one call.
void write(cairo_t *context, TextFonts &fonts, const Letters &line, CGPoint start, CGFloat size) {
    cairo_move_to(context, start.x, start.y);
    for (std::size_t i = 0; i < line.size();) {
        const std::size_t font = line[i].font;
        std::string text;
        for (; i < line.size() && line[i].font == font; ++i) {
            utf8::append(line[i].code, std::back_inserter(text));
        }
        cairo_set_font_face(context, fonts.face(font));
        cairo_set_font_size(context, size);
        cairo_show_text(context, text.c_str());
    }
}

void prepare(cairo_t *context, const CGColor &color, CGFloat density) {
    cairo_scale(context, density, density);
    cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
    cairo_font_options_t *options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_set_font_options(context, options);
    cairo_font_options_destroy(options);
}

} // namespace

Retained<CGImage> TextPicture::draw(std::string_view text, const Style &style, CGSize room,
                                    CGFloat density) {
    const double width = std::round(room.width * density);
    const double height = std::round(room.height * density);
    const double line = style.size * kLineHeight;
    if (text.empty() || !(width >= 1) || !(height >= 1) || room.height < line ||
        !CGImage::isSizeSupported(static_cast<std::uint64_t>(width),
                                  static_cast<std::uint64_t>(height))) {
        return nullptr;
    }
    TextFonts &fonts = fontsFor(style);
    const auto lines =
        linesOf(fonts.lettersOf(text, kMaxLetters), fonts.lettersOf("…", 1).front(),
                room.width / style.size, static_cast<std::size_t>(room.height / line));
    PixelBuffer pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
    const std::unique_ptr<cairo_surface_t, SurfaceEnd> surface(cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char *>(pixels.data()), CAIRO_FORMAT_ARGB32,
        static_cast<int>(width), static_cast<int>(height), static_cast<int>(width) * 4));
    const std::unique_ptr<cairo_t, ContextEnd> context(cairo_create(surface.get()));
    prepare(context.get(), style.color, density);
    double top = style.isCentred ? (room.height - static_cast<double>(lines.size()) * line) / 2 : 0;
    for (const Letters &letters : lines) {
        const double rest = room.width - widthOf(letters) * style.size;
        const double left = style.isCentred ? std::max(rest / 2, 0.0) : 0;
        write(context.get(), fonts, letters, {left, top + style.size * kAboveLine}, style.size);
        top += line;
    }
    cairo_surface_flush(surface.get());
    return CGImage::imageWithPixels(static_cast<NSUInteger>(width), static_cast<NSUInteger>(height),
                                    std::move(pixels));
}

CGFloat TextPicture::width(std::string_view text, const Style &style) {
    return widthOf(fontsFor(style).lettersOf(text, kMaxLetters)) * style.size;
}

} // namespace Lumivera
