#include "Host/Commands/Gallery/Lettering.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <string>
#include <utility>

namespace Lumivera {

namespace {

/// Letters have units of their own: the baseline is 0, the x-height 10, ascenders 15, descenders
/// -5.
constexpr CGFloat kUnits = 20;
constexpr CGFloat kWeight = 1.65;
constexpr CGFloat kBetweenLetters = 3.1;
constexpr CGFloat kSpace = 2.4;

constexpr int kPointsOfCurve = 24;

/// A letter as strokes of a round pen, written like an SVG path: M x y begins a stroke, L x y draws
/// a line, A an arc of an ellipse (centre, radii, first and last angle in degrees, anticlockwise
/// from the right), C a cubic Bézier curve.
struct Letter {
    char32_t letter;
    CGFloat width;
    const char *strokes;
};

constexpr auto kLetters = std::to_array<Letter>({
    {U'a', 9, "M9 10 L9 0 M9 5 A4.5 5 4.5 5 0 360"},
    {U'b', 9, "M0 15 L0 0 M9 5 A4.5 5 4.5 5 0 360"},
    {U'c', 8, "A4.6 5 4.6 5 48 312"},
    {U'd', 9, "M9 15 L9 0 M9 5 A4.5 5 4.5 5 0 360"},
    {U'e', 9.2, "M0.2 5.2 L9.2 5.2 A4.6 5 4.6 5 2 312"},
    {U'f', 4.6, "M5.2 14.7 A5 12 3 2.9 82 180 L2 0 M0 10 L4.8 10"},
    {U'g', 9, "M9 10 L9 -0.4 A4.5 -0.4 4.5 4.4 0 -148 M9 5 A4.5 5 4.5 5 0 360"},
    {U'h', 8, "M0 15 L0 0 M0 6 A4 6 4 4 180 0 L8 0"},
    {U'i', 0, "M0 10 L0 0 M0 13.9 L0 14"},
    {U'j', 1, "M1 10 L1 -2 A-1.6 -2 2.6 2.8 0 -80 M1 13.9 L1 14"},
    {U'k', 7.4, "M0 15 L0 0 M6.9 10 L0 3.9 M2.6 6.2 L7.4 0"},
    {U'l', 0, "M0 15 L0 0"},
    {U'm', 13,
     "M0 10 L0 0 M0 6.6 A3.25 6.6 3.25 3.4 180 0 L6.5 0 M6.5 6.6 A9.75 6.6 3.25 3.4 180 0 "
     "L13 0"},
    {U'n', 8, "M0 10 L0 0 M0 6 A4 6 4 4 180 0 L8 0"},
    {U'o', 9.4, "A4.7 5 4.7 5 0 360"},
    {U'p', 9, "M0 10 L0 -5 M9 5 A4.5 5 4.5 5 0 360"},
    {U'q', 9, "M9 10 L9 -5 M9 5 A4.5 5 4.5 5 0 360"},
    {U'r', 4.6, "M0 10 L0 0 M0 5.8 A4.2 5.8 4.2 4.2 180 80"},
    {U's', 6.8,
     "M6.4 8.3 C5.8 9.5 4.8 10 3.5 10 C1.7 10 0.4 9 0.4 7.5 C0.4 5.9 1.9 5.5 3.5 5.1 "
     "C5.2 4.7 6.8 4.2 6.8 2.6 C6.8 1 5.4 0 3.5 0 C1.9 0 0.7 0.7 0 2"},
    {U't', 5, "M2 13.4 L2 3 A4.7 3 2.7 3 180 284 M0 10 L5 10"},
    {U'u', 8, "M8 10 L8 0 M0 10 L0 4 A4 4 4 4 180 360"},
    {U'v', 8, "M0 10 L4 0 L8 10"},
    {U'w', 12.8, "M0 10 L3.2 0 L6.4 10 L9.6 0 L12.8 10"},
    {U'x', 7.4, "M0.2 10 L7.4 0 M7.2 10 L0 0"},
    {U'y', 8, "M0 10 L4 0.4 M8 10 L2.2 -5"},
    {U'z', 7, "M0.2 10 L7 10 L0 0 L7 0"},
    {U'0', 9, "A4.5 7 4.5 7 0 360"},
    {U'1', 3.4, "M0 11.2 L3.4 14 L3.4 0"},
    {U'2', 8, "M0.3 10.8 A4.1 9.9 3.9 4.1 166 -32 L0 0 L8 0"},
    {U'3', 8, "M0.6 12.3 A3.9 10.6 3.4 3.4 150 -90 A3.9 3.6 4.1 3.6 90 -152"},
    {U'4', 9, "M6.8 0 L6.8 14 L0 4 L9 4"},
    {U'5', 8,
     "M7.2 14 L1.5 14 L0.9 7.9 C1.9 8.6 2.9 8.9 3.9 8.9 C6.3 8.9 8 7.1 8 4.5 C8 1.8 6.2 0 "
     "3.8 0 C2.2 0 0.9 0.7 0 2"},
    {U'6', 8.6, "M6.2 14 L0.9 7 A4.3 4.4 4.3 4.4 143 503"},
    {U'7', 8, "M0 14 L8 14 L2.6 0"},
    {U'8', 8.4, "M7.5 10.6 A4.2 10.6 3.3 3.4 0 360 M8.4 3.6 A4.2 3.6 4.2 3.6 0 360"},
    {U'9', 8.6, "M2.4 0 L7.7 7 A4.3 9.6 4.3 4.4 -37 323"},
    {U'.', 0, "M0 0 L0 0.1"},
    {U'·', 0, "M0 5 L0 5.1"},
    {U'×', 5.6, "M0 2.2 L5.6 7.8 M0 7.8 L5.6 2.2"},
    {U'→', 11, "M0 5 L11 5 M7.4 8.6 L11 5 L7.4 1.4"},
    {U'↔', 14, "M0 5 L14 5 M10.4 8.6 L14 5 L10.4 1.4 M3.6 8.6 L0 5 L3.6 1.4"},
});

const Letter *find(char32_t letter) {
    const auto found = std::find_if(kLetters.begin(), kLetters.end(),
                                    [letter](const Letter &l) { return l.letter == letter; });
    return found == kLetters.end() ? nullptr : &*found;
}

CGFloat widthOf(char32_t letter) {
    const Letter *known = find(letter);
    return known ? known->width : kSpace;
}

CGPoint between(CGPoint a, CGPoint b, CGFloat part) {
    return {a.x + (b.x - a.x) * part, a.y + (b.y - a.y) * part};
}

/// Flattens the strokes of letters to lines.
class Pen {
  public:
    Pen(CGPoint start, CGFloat unit) : _start(start), _unit(unit) {}

    void moveRight(CGFloat units) { _start.x += units * _unit; }

    void draw(const char *strokes) {
        _isStrokeOver = true;
        std::istringstream words(strokes);
        for (char kind; words >> kind;) {
            drawStroke(kind, words);
        }
    }

    const std::vector<GalleryCanvas::Line> &lines() const { return _lines; }

  private:
    void drawStroke(char kind, std::istream &words) {
        const CGPoint first = read(words);
        if (kind == 'M') {
            _isStrokeOver = true;
            lineTo(first);
        } else if (kind == 'L') {
            lineTo(first);
        } else if (kind == 'C') {
            const CGPoint second = read(words);
            curveTo(first, second, read(words));
        } else {
            const CGPoint radii = read(words);
            const CGPoint angles = read(words);
            arc(first, radii, angles.x, angles.y);
        }
    }

    static CGPoint read(std::istream &words) {
        CGPoint point;
        words >> point.x >> point.y;
        return point;
    }

    void lineTo(CGPoint point) {
        if (std::exchange(_isStrokeOver, false)) {
            _lines.emplace_back();
        }
        _lines.back().push_back({_start.x + point.x * _unit, _start.y - point.y * _unit});
        _last = point;
    }

    void curveTo(CGPoint first, CGPoint second, CGPoint end) {
        const CGPoint start = _last;
        for (int i = 1; i <= kPointsOfCurve; ++i) {
            const CGFloat part = static_cast<CGFloat>(i) / kPointsOfCurve;
            const CGPoint middle = between(first, second, part);
            lineTo(between(between(between(start, first, part), middle, part),
                           between(middle, between(second, end, part), part), part));
        }
    }

    void arc(CGPoint middle, CGPoint radii, CGFloat from, CGFloat to) {
        for (int i = 0; i <= kPointsOfCurve; ++i) {
            const CGFloat part = static_cast<CGFloat>(i) / kPointsOfCurve;
            const double angle = (from + (to - from) * part) * 0.01745329251994329577;
            lineTo({middle.x + radii.x * static_cast<CGFloat>(std::cos(angle)),
                    middle.y + radii.y * static_cast<CGFloat>(std::sin(angle))});
        }
    }

    CGPoint _start;
    CGPoint _last;
    CGFloat _unit;
    bool _isStrokeOver = true;
    std::vector<GalleryCanvas::Line> _lines;
};

} // namespace

CGFloat Lettering::width(std::u32string_view text, CGFloat size) {
    CGFloat units = kWeight;
    for (const char32_t letter : text) {
        units += widthOf(letter) + kBetweenLetters;
    }
    return text.empty() ? 0 : (units - kBetweenLetters) * size / kUnits;
}

void Lettering::write(GalleryCanvas &canvas, std::u32string_view text, CGPoint start, CGFloat size,
                      const CGColor &color) {
    const CGFloat unit = size / kUnits;
    Pen pen({start.x + kWeight * unit / 2, start.y}, unit);
    for (const char32_t letter : text) {
        const Letter *known = find(letter);
        pen.draw(known ? known->strokes : "");
        pen.moveRight(widthOf(letter) + kBetweenLetters);
    }
    canvas.strokeLines(pen.lines(), kWeight * unit, color);
}

bool Lettering::hasLetter(char32_t letter) { return letter == U' ' || find(letter) != nullptr; }

} // namespace Lumivera
