#pragma once

#include "Host/Displays/Window.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Wallpapers/WallpaperSettings.h"
#include "Platform/Compositor/SoftwareCompositor.h"
#include "Platform/UIKit/UIView.h"

#include <exception>
#include <functional>
#include <optional>

namespace Lumivera {

/// Shows a tree of views in a window and handles the keys that every show has. The tree is drawn
/// after each call-out that changed it, and every frame while it has running animations. Main
/// thread.
class Show : protected Window::Listener {
  public:
    virtual ~Show();

    Show(const Show &) = delete;
    Show &operator=(const Show &) = delete;

    /// Runs the main run loop until the user, the time or NSRunLoop::stop() ends the show. Throws
    /// the HostError that ended it.
    void run();

  protected:
    /// The window is not owned. With `seconds`, the show ends by itself after that time.
    Show(Window &window, std::optional<double> seconds);

    Window &window() { return _window; }
    PictureSize pictureSize() const { return {_window.size(), _window.density()}; }

    virtual UIView &root() = 0;

    /// Called with false while the user has paused the show or nobody can see the window.
    virtual void setRunning(bool running) = 0;

    /// Called before and after every call-out of the main run loop. The latter draws the tree.
    virtual void callOutBegins() {}
    virtual void callOutEnded();

    /// Makes the end of the current call-out draw even if nothing has changed.
    void drawAgain() { _isPictureWanted = true; }

    void windowVisibilityChanged() override;
    void windowNeedsPicture() override { drawAgain(); }
    void windowClosed() override;
    void keyPressed(WindowKey key) override;

  private:
    void guard(const std::function<void()> &action);
    void draw();
    void updateRunning() { setRunning(!_isPausedByUser && _window.isVisible()); }
    void saveScreenshot();

    Window &_window;
    SoftwareCompositor _compositor;
    const std::optional<double> _seconds;
    std::exception_ptr _failure;
    bool _isPausedByUser = false;
    bool _isPictureWanted = true;
    DeferredCall _nextFrame;
};

} // namespace Lumivera
