#pragma once

#include <memory>

struct _cairo;
struct _cairo_surface;

struct CairoDeleter {
    void operator()(_cairo *drawing) const;
    void operator()(_cairo_surface *surface) const;
};

/// What the drawing library owns, held without its header.
using CairoDrawing = std::unique_ptr<_cairo, CairoDeleter>;
using CairoSurface = std::unique_ptr<_cairo_surface, CairoDeleter>;
