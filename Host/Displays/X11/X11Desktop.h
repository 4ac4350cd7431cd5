#pragma once

#include "Host/Displays/X11/X11Pointer.h"
#include "Host/Displays/X11/X11Surface.h"
#include "Host/Displays/X11/X11WindowStack.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace Lumivera {

/// What the X server and the window manager of the session offer. A HostError when there is no
/// server that could show anything.
DesktopSurvey surveyX11(LayerChoice choice);

/// The name of the session's window manager; empty without one. A HostError as from surveyX11().
std::string nameOfX11Manager();

/// The desktop of an X11 session: on every output a window beneath all others, or in front of the
/// desktop's icons, as X11Layer decides.
class X11Desktop final : public Desktop, private X11Listener {
  public:
    struct Options {
        LayerChoice layer = LayerChoice::Automatic;

        /// Pixels a point, instead of what the desktop's settings say.
        std::optional<CGFloat> density;
    };

    /// A HostError when there is no X server, or none that shows 24-bit colours. The waiter is not
    /// owned.
    X11Desktop(DescriptorWaiter &waiter, const Options &options);

    X11Desktop(const X11Desktop &) = delete;
    X11Desktop &operator=(const X11Desktop &) = delete;

    void setListener(Listener *listener) override;
    std::string name() const override { return "X11"; }
    void setLayerChoice(LayerChoice choice) override;

  private:
    void eventArrived(const X11Event &event) override;
    void eventsEnded() override;
    void connectionLost(const std::string &reason) override;

    void awaitEvents();
    bool isOutputChange(const X11Event &event) const;
    bool isDensityChange(const X11Event &event) const;
    void updateDensity();
    void updateOutputs();
    void removeSurfacesBut(const std::vector<X11Output> &outputs);
    void place(const X11Output &output);
    void readStack();
    void updateStack();
    void updateLayers();
    X11Layer layerOf(const X11Surface &surface) const;
    void updatePlaces();
    void orderPictures();
    void showPixel();
    void destroyPixel();
    void takePixelStep();
    void servePointer(const X11Pointer::Action &action);
    X11Surface *surfaceAt(int x, int y) const;

    Options _options;
    X11Connection _connection;
    X11WindowStack _stack;
    X11ScreenSaver _screenSaver;
    X11Pointer _pointer;

    /// The surface on which the main button is pressed; null for none.
    X11Surface *_pressed = nullptr;
    CGFloat _density = 1;
    std::uint32_t _settingsWindow = 0;
    std::vector<std::unique_ptr<X11Surface>> _surfaces;
    Listener *_listener = nullptr;
    bool _haveOutputsChanged = false;
    bool _hasDensityChanged = false;
    bool _hasStackChanged = false;

    /// Pending for a while after the window stack was read.
    DeferredCall _rest;

    /// Our windows and the windows with icons above them, when their pictures were put in order
    /// last.
    std::set<std::pair<std::uint32_t, std::uint32_t>> _orderedPairs;
    std::optional<std::uint32_t> _pixel;
    std::size_t _pixelStep = 0;
    DeferredCall _nextPixelStep;

    /// Pending while surfaces are to go elsewhere, which they do when that has been so for a while:
    /// programs that show icons are restarted.
    DeferredCall _settle;

    /// Looks again at windows that may not have painted themselves yet, or to which a surface could
    /// not go back.
    DeferredCall _lookAgain;
    NSTimeInterval _lookDelay;
    bool _areAllInPlace = true;
};

} // namespace Lumivera
