#include "Platform/CoreGraphics/CairoHandles.h"

#include <cairo.h>

void CairoDeleter::operator()(_cairo *drawing) const { cairo_destroy(drawing); }

void CairoDeleter::operator()(_cairo_surface *surface) const { cairo_surface_destroy(surface); }
