#pragma once

#include "Host/Displays/X11/X11Surface.h"
#include "Host/Displays/X11/X11WindowStack.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

namespace Lumivera {

/// What the X server and the window manager of the session offer. A HostError when there is no
/// server that could show anything.
DesktopSurvey surveyX11();

/// The desktop of an X11 session: a window beneath all others on every output.
class X11Desktop final : public Desktop, private X11Listener {
  public:
    struct Options {
        /// Clicks reach what lies beneath the wallpaper.
        bool clickThrough = false;

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

  private:
    void eventArrived(const X11Event &event) override;
    void eventsEnded() override;
    void connectionLost(const std::string &reason) override;

    void awaitEvents();
    bool isOutputChange(const X11Event &event) const;
    void updateDensity();
    void updateOutputs();
    void removeSurfacesBut(const std::vector<X11Output> &outputs);
    void place(const X11Output &output);
    void updateStack();

    const Options _options;
    X11Connection _connection;
    X11WindowStack _stack;
    X11ScreenSaver _screenSaver;
    CGFloat _density = 1;
    std::vector<std::unique_ptr<X11Surface>> _surfaces;
    Listener *_listener = nullptr;
    bool _haveOutputsChanged = false;
    bool _hasDensityChanged = false;
    bool _hasStackChanged = false;

    /// Pending for a while after the window stack was read.
    DeferredCall _rest;
};

} // namespace Lumivera
