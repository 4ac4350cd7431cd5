#pragma once

#include "Host/Displays/Display.h"
#include "Host/Wallpapers/PictureSize.h"
#include "Platform/Compositor/SoftwareCompositor.h"
#include "Platform/UIKit/UIView.h"

#include <exception>
#include <functional>
#include <optional>

namespace Lumivera {

/// A tree of views on a display, with the input that every show understands, until somebody ends
/// it. The tree is drawn after call-outs that changed it, and frame after frame while animations
/// run in it. Main thread.
class Show : protected Display::Listener {
  public:
    virtual ~Show();

    Show(const Show &) = delete;
    Show &operator=(const Show &) = delete;

    /// Returns when the user, the time or NSRunLoop::stop ends it; throws the HostError that did.
    void run();

  protected:
    /// Ends by itself after the seconds, if there are any.
    Show(Display &display, std::optional<double> seconds);

    Display &display() { return _display; }
    PictureSize pictureSize() const { return {_display.size(), _display.density()}; }

    virtual UIView &root() = 0;

    /// Told to rest while the user has paused it and while nobody can see it.
    virtual void setRunning(bool running) = 0;

    /// Around every call-out of the main run loop. The tree is drawn at the end of the second.
    virtual void callOutBegins() {}
    virtual void callOutEnded();

    /// What the display held counts no more.
    void loseWhatIsShown() { _isPictureWanted = true; }

    void displayVisibilityChanged() override;
    void displayNeedsPicture() override { loseWhatIsShown(); }
    void displayClosed() override;
    void keyPressed(DisplayKey key) override;

  private:
    void guard(const std::function<void()> &action);
    void draw();
    void drawNextFrame(NSTimeInterval delay);
    void updateRunning() { setRunning(!_isPausedByUser && _display.isVisible()); }
    void saveScreenshot();

    Display &_display;
    SoftwareCompositor _compositor;
    const std::optional<double> _seconds;
    std::exception_ptr _failure;
    bool _isPausedByUser = false;
    bool _isPictureWanted = true;
    bool _isFramePending = false;
};

} // namespace Lumivera
