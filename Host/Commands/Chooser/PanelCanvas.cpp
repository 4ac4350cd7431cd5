#include "Host/Commands/Chooser/PanelCanvas.h"

#include <cairo.h>
#include <cmath>
#include <cstring>

namespace Lumivera {

namespace {

constexpr double kQuarterTurn = 1.57079632679489661923;

void setColor(cairo_t *context, const CGColor &color) {
    cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
}

void addPanel(cairo_t *context, const CGRect &area, double radius) {
    const double left = area.origin.x + radius, right = area.origin.x + area.size.width - radius;
    const double top = area.origin.y + radius, bottom = area.origin.y + area.size.height - radius;
    cairo_new_path(context);
    cairo_arc(context, right, top, radius, -kQuarterTurn, 0);
    cairo_arc(context, right, bottom, radius, 0, kQuarterTurn);
    cairo_arc(context, left, bottom, radius, kQuarterTurn, 2 * kQuarterTurn);
    cairo_arc(context, left, top, radius, 2 * kQuarterTurn, 3 * kQuarterTurn);
    cairo_close_path(context);
}

} // namespace

/// A cairo surface and context.
class PanelCanvas::Drawing {
  public:
    Drawing(NSUInteger width, NSUInteger height, CGFloat density)
        : _surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(width),
                                              static_cast<int>(height))),
          _context(cairo_create(_surface)), _width(width), _height(height) {
        cairo_scale(_context, density, density);
    }

    ~Drawing() {
        cairo_destroy(_context);
        cairo_surface_destroy(_surface);
    }

    Drawing(const Drawing &) = delete;
    Drawing &operator=(const Drawing &) = delete;

    cairo_t *context() const { return _context; }

    Retained<CGImage> picture() const {
        cairo_surface_flush(_surface);
        const unsigned char *row = cairo_image_surface_get_data(_surface);
        if (!row) {
            return nullptr;
        }
        PixelBuffer pixels(_width * _height);
        for (NSUInteger y = 0; y < _height; ++y) {
            std::memcpy(pixels.data() + y * _width, row, _width * sizeof pixels[0]);
            row += cairo_image_surface_get_stride(_surface);
        }
        return CGImage::imageWithPixels(_width, _height, std::move(pixels));
    }

  private:
    cairo_surface_t *_surface;
    cairo_t *_context;
    NSUInteger _width;
    NSUInteger _height;
};

PanelCanvas::PanelCanvas(CGSize size, CGFloat density) {
    const double width = std::round(size.width * density);
    const double height = std::round(size.height * density);
    constexpr double kMaxSide = CGImage::kMaxSide;
    if (width >= 1 && height >= 1 && width <= kMaxSide && height <= kMaxSide) {
        _drawing = std::make_unique<Drawing>(static_cast<NSUInteger>(width),
                                             static_cast<NSUInteger>(height), density);
    }
}

PanelCanvas::~PanelCanvas() = default;

void PanelCanvas::fillPanel(const CGRect &area, CGFloat radius, const CGColor &top,
                            const CGColor &bottom) {
    if (!_drawing) {
        return;
    }
    cairo_pattern_t *fade =
        cairo_pattern_create_linear(0, area.origin.y, 0, area.origin.y + area.size.height);
    cairo_pattern_add_color_stop_rgba(fade, 0, top.red, top.green, top.blue, top.alpha);
    cairo_pattern_add_color_stop_rgba(fade, 1, bottom.red, bottom.green, bottom.blue, bottom.alpha);
    addPanel(_drawing->context(), area, radius);
    cairo_set_source(_drawing->context(), fade);
    cairo_fill(_drawing->context());
    cairo_pattern_destroy(fade);
}

void PanelCanvas::strokePanel(const CGRect &area, CGFloat radius, CGFloat lineWidth,
                              const CGColor &color) {
    if (!_drawing) {
        return;
    }
    const CGFloat half = lineWidth / 2;
    const CGRect middle{{area.origin.x + half, area.origin.y + half},
                        {area.size.width - lineWidth, area.size.height - lineWidth}};
    addPanel(_drawing->context(), middle, std::max<CGFloat>(radius - half, 0));
    setColor(_drawing->context(), color);
    cairo_set_line_width(_drawing->context(), lineWidth);
    cairo_stroke(_drawing->context());
}

Retained<CGImage> PanelCanvas::picture() const { return _drawing ? _drawing->picture() : nullptr; }

} // namespace Lumivera
