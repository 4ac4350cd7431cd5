#include <wayland-client.h>
#include <wayland-cursor.h>

#include "Host/Displays/Wayland/WaylandCursor.h"

#include "Host/Displays/Wayland/WaylandGlobals.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace Lumivera {

namespace {

constexpr int kUsualSize = 24;
constexpr int kLargestSize = 256;

int wantedSize() {
    const char *text = std::getenv("XCURSOR_SIZE");
    const int size = text ? std::atoi(text) : 0;
    return size > 0 ? std::min(size, kLargestSize) : kUsualSize;
}

const wl_cursor *arrowOf(wl_cursor_theme *theme) {
    for (const char *name : {"left_ptr", "default"}) {
        const wl_cursor *cursor = wl_cursor_theme_get_cursor(theme, name);
        if (cursor && cursor->image_count > 0) {
            return cursor;
        }
    }
    return nullptr;
}

bool isDivisible(const wl_cursor_image &image, int scale) {
    const auto divisor = static_cast<std::uint32_t>(scale);
    return image.width % divisor == 0 && image.height % divisor == 0;
}

} // namespace

WaylandCursor::~WaylandCursor() {
    if (_surface) {
        wl_surface_destroy(_surface);
    }
    if (_theme) {
        wl_cursor_theme_destroy(_theme);
    }
}

void WaylandCursor::showFor(wl_pointer *pointer, std::uint32_t serial, int scale) {
    load(scale);
    const wl_cursor *const arrow = _theme ? arrowOf(_theme) : nullptr;
    if (!arrow) {
        return;
    }
    wl_cursor_image &image = *arrow->images[0];
    const int divisor = isDivisible(image, scale) ? scale : 1;
    if (wl_surface_get_version(_surface) >= WL_SURFACE_SET_BUFFER_SCALE_SINCE_VERSION) {
        wl_surface_set_buffer_scale(_surface, divisor);
    }
    wl_surface_attach(_surface, wl_cursor_image_get_buffer(&image), 0, 0);
    wl_surface_damage(_surface, 0, 0, INT32_MAX, INT32_MAX);
    wl_surface_commit(_surface);
    wl_pointer_set_cursor(pointer, serial, _surface, static_cast<int>(image.hotspot_x) / divisor,
                          static_cast<int>(image.hotspot_y) / divisor);
}

void WaylandCursor::load(int scale) {
    if (!_surface) {
        _surface = wl_compositor_create_surface(_globals.compositor);
    }
    if (_scale != scale) {
        if (_theme) {
            wl_cursor_theme_destroy(_theme);
        }
        _theme =
            wl_cursor_theme_load(std::getenv("XCURSOR_THEME"), wantedSize() * scale, _globals.shm);
        _scale = scale;
    }
}

} // namespace Lumivera
