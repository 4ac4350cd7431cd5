#pragma once

#include "Host/Displays/Desktop.h"
#include "Platform/Compositor/DeviceRect.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Lumivera {

/// A window of the type desktop that another program shows on an output, usually with icons.
struct X11IconWindow {
    std::uint32_t window = 0;

    /// The child of the root that the window is, or that it lies in.
    std::uint32_t frame = 0;

    /// In pixels of the root.
    DeviceRect area;

    /// Its program's class, such as "Xfdesktop".
    std::string program;

    /// Nothing beneath it can be seen.
    bool isOpaque = true;
};

/// What a screen's programs do that decides where a wallpaper can be.
struct X11Scene {
    /// The window manager's name; empty when there is none.
    std::string manager;

    /// A compositing manager blends the windows.
    bool isBlended = false;

    /// Transparent windows and those of other shapes are possible.
    bool hasTransparentWindows = true;
    bool hasShapes = true;

    /// Opaque ones hide those before them.
    std::vector<X11IconWindow> icons;
};

/// How a surface's window is shown.
struct X11Layer {
    SurfaceLayer layer;

    /// The child of the root that the window lies directly above; 0 for beneath everything.
    std::uint32_t beneath = 0;

    /// The window with icons that lies directly above, or directly beneath where `beneath` is not
    /// 0; 0 for none. No window counts as above where nobody manages windows.
    std::uint32_t icons = 0;

    /// The wallpaper is shown without its background.
    bool isTransparent = false;

    /// The window manager leaves the window alone.
    bool isUnmanaged = false;

    /// To the window manager the window is a panel below all windows, not one of the type desktop.
    bool isPanel = false;

    /// Nobody blends windows, so the window has the shape of the petals.
    bool isShaped = false;

    bool operator==(const X11Layer &) const = default;

    /// Whether a window of the other layer can be turned into one of this, without a new one.
    bool takesWindowOf(const X11Layer &other) const;

    /// Whether one of the other layer can go here at once: its picture stays.
    bool takesPictureOf(const X11Layer &other) const;

    /// Decides for an output. Nothing of it depends on what was decided before.
    static X11Layer choose(const X11Scene &scene, const DeviceRect &output, LayerChoice choice);
};

} // namespace Lumivera
