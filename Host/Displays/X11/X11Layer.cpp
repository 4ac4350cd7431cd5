#include "Host/Displays/X11/X11Layer.h"

#include "Host/Displays/Shared/SharedSurface.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Lumivera {

namespace {

/// These window managers show windows that they do not manage in front of all others, so ours must
/// be managed. All others leave such a window where it is, and the root's menu beneath it works.
constexpr std::array<std::string_view, 7> kKeepUnmanagedOnTop = {
    "Mutter", "Muffin", "GNOME Shell", "KWin", "Gala", "Budgie", "Metacity"};

bool keepsUnmanagedOnTop(std::string_view manager) {
    return std::any_of(kKeepUnmanagedOnTop.begin(), kKeepUnmanagedOnTop.end(),
                       [&](std::string_view name) { return manager.find(name) != manager.npos; });
}

/// Cinnamon's Nemo shows no icons when it starts while another window of the type desktop is there.
bool mayShowNemo(std::string_view manager) { return manager.find("Muffin") != manager.npos; }

/// The topmost window on the output that hides what is beneath it; null without one.
const X11IconWindow *opaqueIcons(const X11Scene &scene, const DeviceRect &output) {
    const X11IconWindow *found = nullptr;
    for (const X11IconWindow &icons : scene.icons) {
        if (icons.isOpaque && icons.area.intersects(output)) {
            found = &icons;
        }
    }
    return found;
}

const X11IconWindow *transparentIcons(const X11Scene &scene, const DeviceRect &output) {
    const auto found =
        std::find_if(scene.icons.begin(), scene.icons.end(), [&](const X11IconWindow &icons) {
            return !icons.isOpaque && icons.area.intersects(output);
        });
    return found == scene.icons.end() ? nullptr : &*found;
}

SurfaceLayer behind(const X11Scene &scene, const DeviceRect &output) {
    const X11IconWindow *const icons = transparentIcons(scene, output);
    if (icons) {
        return {"behind", icons->program, "behind the icons of " + icons->program, ""};
    }
    return {"behind", "", "behind all windows; no program shows icons here", ""};
}

SurfaceLayer hidingIcons(const X11IconWindow &icons) {
    return {"behind", icons.program,
            "in front of the desktop of " + icons.program + ", whose icons it hides",
            "choose layer = \"auto\", so that petals fall in front of the icons"};
}

/// How a user lets windows be blended under that window manager.
std::string waysToBlend(std::string_view manager) {
    if (manager == "Xfwm4") {
        return "switch on \"Enable display compositing\" in Window Manager Tweaks";
    }
    if (manager == "Metacity (Marco)") {
        return "switch on \"Enable software compositing window manager\" in Windows";
    }
    return "start a compositing manager, such as picom";
}

SurfaceLayer overIcons(const X11Scene &scene, const std::string &program, bool isShaped) {
    SurfaceLayer layer{"over", program, "", ""};
    layer.words = program.empty() ? "petals fall over the background"
                                  : "petals fall in front of the icons of " + program +
                                        ", which paints its own background";
    if (isShaped) {
        layer.remedy =
            waysToBlend(scene.manager) + (scene.hasShapes ? "; then petals have soft edges"
                                                          : "; without it no petals are shown");
    }
    if (program == SharedSurface::kPlasma) {
        layer.remedy = SharedSurface::kWayOnPlasma;
    }
    return layer;
}

} // namespace

bool X11Layer::takesWindowOf(const X11Layer &other) const {
    return takesPictureOf(other) && isPanel == other.isPanel;
}

bool X11Layer::takesPictureOf(const X11Layer &other) const {
    return isTransparent == other.isTransparent && isUnmanaged == other.isUnmanaged &&
           isShaped == other.isShaped;
}

X11Layer X11Layer::choose(const X11Scene &scene, const DeviceRect &output, LayerChoice choice) {
    X11Layer result;
    const X11IconWindow *const opaque = opaqueIcons(scene, output);
    const bool hasManager = !scene.manager.empty();
    result.isUnmanaged = hasManager && !keepsUnmanagedOnTop(scene.manager);
    result.beneath = opaque ? opaque->frame : 0;
    const X11IconWindow *const icons = opaque ? opaque : transparentIcons(scene, output);
    result.icons = icons && (opaque || hasManager) ? icons->window : 0;
    result.isTransparent = choice == LayerChoice::Over || (choice != LayerChoice::Behind && opaque);
    if (result.isTransparent) {
        result.isShaped = !scene.isBlended || !scene.hasTransparentWindows;
        result.layer = overIcons(scene, opaque ? opaque->program : "", result.isShaped);
        result.layer.window = opaque ? opaque->window : 0;
    } else {
        result.layer = opaque ? hidingIcons(*opaque) : behind(scene, output);
    }
    result.isPanel =
        !result.isUnmanaged && (result.isTransparent || (!icons && mayShowNemo(scene.manager)));
    return result;
}

} // namespace Lumivera
