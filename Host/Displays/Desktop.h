#pragma once

#include "Host/Displays/PointerListener.h"
#include "Host/Displays/SharedPicture.h"
#include "Platform/Compositor/DeviceRect.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <memory>
#include <string>
#include <vector>

namespace Lumivera {

/// How large a surface is, in pixels, and its pixels a point.
struct SurfaceGeometry {
    unsigned width = 0;
    unsigned height = 0;
    CGFloat density = 1;

    bool operator==(const SurfaceGeometry &) const = default;
};

/// Whether anybody can see a surface and, if not, why.
enum class SurfaceVisibility {
    Visible,
    Covered,    ///< other windows hide all of it
    FullScreen, ///< one window has the whole output to itself
    Off,        ///< the output shows nothing: it is blank or switched off
};

/// A place behind everything on one output. Main thread.
class DesktopSurface {
  public:
    /// Hears of changes and input, in call-outs of the main run loop but never from within a call
    /// of the surface.
    class Listener : public PointerListener {
      public:
        virtual void surfaceGeometryChanged() = 0;
        virtual void surfaceVisibilityChanged() = 0;

        /// That picture of the memory may be drawn into now; present() shows it. Told once for
        /// every picture to draw: nothing more comes until it was presented.
        virtual void pictureWanted(unsigned index) = 0;

      protected:
        ~Listener() = default;
    };

    virtual ~DesktopSurface() = default;

    /// Not owned; null for none.
    virtual void setListener(Listener *listener) = 0;

    /// The window system's name of the output, such as "HDMI-A-1". Never changes.
    virtual const std::string &outputName() const = 0;

    /// Without width and height until the window system has told them.
    virtual SurfaceGeometry geometry() const = 0;

    virtual SurfaceVisibility visibility() const = 0;

    /// Gives the surface the memory to show pictures from, of its present geometry's size. It asks
    /// for pictures from then on, beginning with picture 0, and for none of the memory before. What
    /// was shown stays until the first picture is presented.
    virtual void setMemory(std::shared_ptr<SharedPicture> memory) = 0;

    /// Shows a picture that was wanted. Outside of the rectangles, which are clipped to it, it is
    /// the same as the one presented before, where there is one of this memory.
    virtual void present(unsigned index, const std::vector<DeviceRect> &rects) = 0;
};

/// A window system and the outputs of its desktop. Main thread.
class Desktop {
  public:
    /// Hears of outputs, in call-outs of the main run loop.
    class Listener {
      public:
        /// A surface behind everything has come to be on a new output.
        virtual void outputAdded(DesktopSurface &surface) = 0;

        /// The surface goes right after this call.
        virtual void outputRemoved(DesktopSurface &surface) = 0;

        /// The window system has gone or refuses to go on; `reason` in words. All surfaces are
        /// dead: they take every call and do nothing.
        virtual void desktopLost(const std::string &reason) = 0;

      protected:
        ~Listener() = default;
    };

    virtual ~Desktop() = default;

    /// Not owned; null for none. The outputs that are there already are told within the call.
    virtual void setListener(Listener *listener) = 0;

    /// What it is, for people: "X11", "Wayland", "headless".
    virtual std::string name() const = 0;
};

} // namespace Lumivera
