#pragma once

#include "Host/Displays/X11/X11ScreenSaver.h"
#include "Host/Displays/X11/X11Surface.h"
#include "Host/Displays/X11/X11WindowStack.h"
#include "Host/Support/DescriptorWaiter.h"

namespace Lumivera {

/// The desktop of an X11 session: a window beneath all others on every output.
class X11Desktop final : public Desktop, private X11Listener {
  public:
    struct Options {
        /// Clicks reach what lies beneath.
        bool clickThrough = false;

        /// Pixels a point; the desktop's own settings without.
        std::optional<CGFloat> density;
    };

    /// A HostError when there is no X server, or none that shows 24-bit colours. The waiter is not
    /// owned.
    X11Desktop(DescriptorWaiter &waiter, const Options &options);
    ~X11Desktop();

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
    void rest();

    const Options _options;
    const std::string _restName;
    X11Connection _connection;
    X11WindowStack _stack;
    X11ScreenSaver _screenSaver;
    CGFloat _density = 1;
    std::vector<std::unique_ptr<X11Surface>> _surfaces;
    Listener *_listener = nullptr;
    bool _haveOutputsChanged = false;
    bool _hasDensityChanged = false;
    bool _hasStackChanged = false;
    bool _isResting = false;
};

} // namespace Lumivera
