#pragma once

#include "Host/Displays/Display.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Wallpapers/WallpaperSettings.h"
#include "Platform/Compositor/SoftwareCompositor.h"
#include "Platform/UIKit/UIView.h"

#include <exception>
#include <functional>
#include <optional>

namespace Lumivera {

/// Shows a tree of views on a display and handles the keys that every show has. The tree is drawn
/// after each call-out that changed it, and every frame while it has running animations. Main
/// thread.
class Show : protected Display::Listener {
  public:
    virtual ~Show();

    Show(const Show &) = delete;
    Show &operator=(const Show &) = delete;

    /// Runs the main run loop until the user, the time or NSRunLoop::stop() ends the show. Throws
    /// the HostError that ended it.
    void run();

  protected:
    /// The display is not owned. With `seconds`, the show ends by itself after that time.
    Show(Display &display, std::optional<double> seconds);

    Display &display() { return _display; }
    PictureSize pictureSize() const { return {_display.size(), _display.density()}; }

    virtual UIView &root() = 0;

    /// Called with false while the user has paused the show or nobody can see the display.
    virtual void setRunning(bool running) = 0;

    /// Called before and after every call-out of the main run loop. The latter draws the tree.
    virtual void callOutBegins() {}
    virtual void callOutEnded();

    /// Makes the end of the current call-out draw even if nothing has changed.
    void drawAgain() { _isPictureWanted = true; }

    void displayVisibilityChanged() override;
    void displayNeedsPicture() override { drawAgain(); }
    void displayClosed() override;
    void keyPressed(DisplayKey key) override;

  private:
    void guard(const std::function<void()> &action);
    void draw();
    void updateRunning() { setRunning(!_isPausedByUser && _display.isVisible()); }
    void saveScreenshot();

    Display &_display;
    SoftwareCompositor _compositor;
    const std::optional<double> _seconds;
    std::exception_ptr _failure;
    bool _isPausedByUser = false;
    bool _isPictureWanted = true;
    DeferredCall _nextFrame;
};

} // namespace Lumivera
