#include "Platform/CoreGraphics/CairoDrawing.h"

#include <algorithm>
#include <cairo.h>

namespace {

bool isWholeMove(const CGAffineTransform &t) {
    return t.a == 1 && t.b == 0 && t.c == 0 && t.d == 1 && t.tx == std::floor(t.tx) &&
           t.ty == std::floor(t.ty);
}

CairoSurface surfaceOf(const CGImage &image) {
    // Cairo takes no constant pixels, but only reads these.
    auto *pixels = const_cast<std::uint32_t *>(image.pixels());
    return CairoSurface(cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char *>(pixels), CAIRO_FORMAT_ARGB32,
        static_cast<int>(image.width()), static_cast<int>(image.height()),
        static_cast<int>(image.width() * sizeof(std::uint32_t))));
}

/// Repeats the edge pixels outward (EXTEND_PAD), so that smoothing does not fade the edges.
void drawStretched(cairo_surface_t *target, const CGImage &image, const CGAffineTransform &t) {
    const CairoSurface source = surfaceOf(image);
    const CairoDrawing drawing(cairo_create(target));
    cairo_matrix_t matrix;
    cairo_matrix_init(&matrix, t.a, t.b, t.c, t.d, t.tx, t.ty);
    cairo_set_matrix(drawing.get(), &matrix);
    cairo_set_source_surface(drawing.get(), source.get(), 0, 0);
    cairo_pattern_set_extend(cairo_get_source(drawing.get()), CAIRO_EXTEND_PAD);
    cairo_pattern_set_filter(cairo_get_source(drawing.get()), CAIRO_FILTER_GOOD);
    cairo_rectangle(drawing.get(), 0, 0, static_cast<double>(image.width()),
                    static_cast<double>(image.height()));
    cairo_fill(drawing.get());
}

} // namespace

void CairoDeleter::operator()(_cairo *drawing) const { cairo_destroy(drawing); }

void CairoDeleter::operator()(_cairo_surface *surface) const { cairo_surface_destroy(surface); }

PlacedPicture::PlacedPicture(const CGImage &image, const CGAffineTransform &toBitmap,
                             std::size_t width, std::size_t height)
    : _width(width), _height(height) {
    if (!isDrawable(toBitmap)) {
        return;
    }
    if (isWholeMove(toBitmap)) {
        place(image, std::lround(toBitmap.tx), std::lround(toBitmap.ty));
    } else {
        stretch(image, toBitmap);
    }
}

std::span<const std::uint32_t> PlacedPicture::row(std::size_t y, std::size_t &x) const {
    const bool isInside = y >= _top && y < _bottom && _left < _right;
    x = isInside ? _left : 0;
    return isInside ? std::span(_first + (y - _top) * _stride, _right - _left)
                    : std::span<const std::uint32_t>();
}

/// Finds the part of the picture's own rows that lies over the bitmap.
void PlacedPicture::place(const CGImage &image, long x, long y) {
    const auto clampTo = [](long value, std::size_t limit) {
        return static_cast<std::size_t>(std::clamp(value, 0L, static_cast<long>(limit)));
    };
    _left = clampTo(x, _width);
    _right = clampTo(x + static_cast<long>(image.width()), _width);
    _top = clampTo(y, _height);
    _bottom = clampTo(y + static_cast<long>(image.height()), _height);
    if (_left >= _right || _top >= _bottom) {
        return;
    }
    _image = Retained<const CGImage>(&image);
    _stride = image.width();
    _first = image.pixels() + static_cast<std::size_t>(static_cast<long>(_top) - y) * _stride +
             static_cast<std::size_t>(static_cast<long>(_left) - x);
    _coversAll = _left == 0 && _top == 0 && _right == _width && _bottom == _height;
}

void PlacedPicture::stretch(const CGImage &image, const CGAffineTransform &toBitmap) {
    _stretched.reset(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(_width),
                                                static_cast<int>(_height)));
    drawStretched(_stretched.get(), image, toBitmap);
    cairo_surface_flush(_stretched.get());
    if (cairo_surface_status(_stretched.get()) != CAIRO_STATUS_SUCCESS) {
        return;
    }
    _first =
        reinterpret_cast<const std::uint32_t *>(cairo_image_surface_get_data(_stretched.get()));
    _stride = static_cast<std::size_t>(cairo_image_surface_get_stride(_stretched.get())) /
              sizeof(std::uint32_t);
    _right = _width;
    _bottom = _height;
}
