#pragma once

#include "Host/Displays/PointerGestures.h"
#include "Host/Displays/SharedBuffers.h"
#include "Platform/Compositor/DeviceRect.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// A surface's size in pixels, its pixels a point, and what its pixels are.
struct SurfaceGeometry {
    unsigned width = 0;
    unsigned height = 0;
    CGFloat density = 1;

    /// What lies beneath the surface shows through: the wallpaper is shown without its background,
    /// in premultiplied pixels.
    bool isTransparent = false;

    bool operator==(const SurfaceGeometry &) const = default;
};

/// Where a user wants wallpapers. To a window system that does not have a choice it is Automatic.
enum class LayerChoice {
    Automatic,
    Behind,     ///< X11: whole, behind the icons, or in place of them where they have a background
    Over,       ///< X11: petals alone, in front of the icons
    Background, ///< Wayland: the lowest layer
    Bottom,     ///< Wayland: in front of what other programs show in the lowest layer
};

/// The choices by their names in the configuration and on the command line.
const std::map<std::string, LayerChoice> &layerChoices();

/// Where a surface is, in words.
struct SurfaceLayer {
    /// For programs: "behind", "over"; on Wayland "background", "bottom".
    std::string name = "behind";

    /// The program that shows the icons, by its window's class; empty without one.
    std::string program;

    /// For people: what is shown where and why, and what would improve it, if anything.
    std::string words = "behind all windows";
    std::string remedy;

    /// The program's window with the icons; another one when the program has begun anew. 0 where
    /// petals do not fall over it.
    std::uint32_t window = 0;

    bool operator==(const SurfaceLayer &) const = default;
};

/// Whether anybody can see a surface and, if not, why.
enum class SurfaceVisibility {
    Visible,
    Covered,    ///< other windows hide all of it
    FullScreen, ///< one window has the whole output to itself
    Off,        ///< the output shows nothing: it is blank or switched off
};

/// A surface behind all windows of one output. Main thread.
class DesktopSurface {
  public:
    /// Hears of changes and input, in call-outs of the main run loop but never from within a call
    /// to the surface.
    class Listener : public PointerListener {
      public:
        virtual void surfaceGeometryChanged() = 0;
        virtual void surfaceVisibilityChanged() = 0;

        /// The surface wants buffer `index` drawn and presented; the window system does not read it
        /// now. No other buffer is wanted until this one was presented.
        virtual void bufferWanted(unsigned index) = 0;

      protected:
        ~Listener() = default;
    };

    virtual ~DesktopSurface() = default;

    /// Not owned; null for none.
    virtual void setListener(Listener *listener) = 0;

    /// The window system's name of the output, such as "HDMI-A-1". Never changes.
    virtual const std::string &outputName() const = 0;

    /// Width and height are 0 until the window system has told them.
    virtual SurfaceGeometry geometry() const = 0;

    /// The pixels of the desktop that the surface covers. When only their place changes, or
    /// layer().window, the listener hears of it as of a new geometry.
    virtual DeviceRect outputArea() const {
        const SurfaceGeometry size = geometry();
        return {0, 0, static_cast<int>(size.width), static_cast<int>(size.height)};
    }

    virtual SurfaceVisibility visibility() const = 0;

    /// It changes with the programs that show icons. geometry() tells when its transparency does.
    virtual SurfaceLayer layer() const { return {}; }

    /// Gives the surface memory of its present geometry's size. From then on it wants buffers of
    /// that memory, buffer 0 first, and none of the old memory. What was shown stays until the
    /// first buffer is presented.
    virtual void setBuffers(std::shared_ptr<SharedBuffers> memory) = 0;

    /// Shows a buffer that was wanted. Outside of the damage, which is clipped to it, it must equal
    /// the buffer of this memory that was presented before, if any.
    virtual void present(unsigned index, const std::vector<DeviceRect> &damage) = 0;

    /// Takes the surface from the screen, because another program shows the output. It comes back
    /// with a listener, buffers and their first picture.
    virtual void withdraw() {}

    /// Gives a transparent surface the opaque picture that its wallpaper has behind the petals, in
    /// buffer 0; null takes it away. Nobody draws into it any more. Most surfaces need none,
    /// because the desktop's own background shows it.
    virtual void setBackground(std::shared_ptr<const SharedBuffers> /*picture*/) {}
};

/// A window system and the outputs of its desktop. Main thread.
class Desktop {
  public:
    /// Hears of outputs, in call-outs of the main run loop.
    class Listener {
      public:
        /// There is a new output with this surface.
        virtual void outputAdded(DesktopSurface &surface) = 0;

        /// The surface is destroyed right after this call.
        virtual void outputRemoved(DesktopSurface &surface) = 0;

        /// The connection to the window system is lost; `reason` in words. Calls to the surfaces
        /// do nothing from now on.
        virtual void desktopLost(const std::string &reason) = 0;

      protected:
        ~Listener() = default;
    };

    virtual ~Desktop() = default;

    /// Not owned; null for none. The present outputs are told within the call.
    virtual void setListener(Listener *listener) = 0;

    /// For people: "X11", "Wayland", "headless".
    virtual std::string name() const = 0;

    /// Surfaces that have a choice go there.
    virtual void setLayerChoice(LayerChoice) {}

    /// What programs have set of the wallpapers is forgotten; those that show them may set it
    /// again.
    virtual void settingsForgotten() {}
};

/// What a user should know about one part of this machine, and what would improve it.
struct Finding {
    enum class Level {
        Good,
        Lacking, ///< it works, but not as well
        Bad,     ///< it does not work
    };

    std::string subject;
    Level level = Level::Good;
    std::string words;

    /// Empty when there is nothing to do.
    std::string remedy;
};

/// What a window system offers to wallpapers. The survey changes nothing on the screen.
struct DesktopSurvey {
    struct Output {
        std::string name;
        unsigned width = 0; ///< in pixels
        unsigned height = 0;
        CGFloat density = 1; ///< pixels a point
    };

    std::string system;
    std::vector<Finding> findings;
    std::vector<Output> outputs;
};

} // namespace Lumivera
