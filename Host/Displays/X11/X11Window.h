#pragma once

#include "Host/Displays/Display.h"
#include "Host/Displays/X11/X11Keyboard.h"
#include "Host/Displays/X11/X11Pointer.h"
#include "Host/Displays/X11/X11Presenter.h"

namespace Lumivera {

/// A resizable window on X11.
class X11Window final : public Display, private X11Listener {
  public:
    /// `size` in points; without a density the desktop's settings tell it. A HostError when there
    /// is no X server, or none that shows 24-bit colours; `wayOut` tells the user what to do then.
    X11Window(CGSize size, std::optional<CGFloat> density, const std::string &title,
              const std::string &wayOut);
    ~X11Window() override;

    X11Window(const X11Window &) = delete;
    X11Window &operator=(const X11Window &) = delete;

    void setListener(Listener *listener) override { _listener = listener; }
    CGSize size() const override;
    CGFloat density() const override { return _density; }
    bool isVisible() const override;

    /// While the server still reads the last picture, nothing is drawn: the listener hears when
    /// there is room for the next. A HostError when the server has gone.
    void present(const Drawing &draw) override;

    void setTitle(const std::string &title) override;
    void toggleFullScreen() override;

    void wait(Clock::Nanoseconds nanoseconds) override { _waiter.wait(nanoseconds); }
    void wake() override { _waiter.wake(); }

  private:
    void eventArrived(const X11Event &event) override;
    void eventsEnded() override;
    void connectionLost(const std::string &reason) override;

    void describe(const std::string &title);
    void fitMemory();
    void noteWindow(const X11Event &event);
    void noteProperty(std::uint32_t name);
    bool isCloseMessage(const X11Event &event) const;
    void serveTurn();

    DescriptorWaiter _waiter;
    X11Connection _connection;
    const CGFloat _density;
    int _width = 1;
    int _height = 1;
    const std::uint32_t _window;
    X11Presenter _presenter;
    X11Keyboard _keyboard;
    X11Pointer _pointer;
    Listener *_listener = nullptr;
    std::string _loss;
    bool _isMapped = true;
    bool _isHidden = false;
    bool _isObscured = false;
    bool _isPictureKept = false;
    bool _isPictureMissed = false;
    bool _hasSizeChanged = false;
    bool _wasVisible = true;
};

} // namespace Lumivera
