#pragma once

#include "Host/Displays/Window.h"
#include "Host/Wallpapers/WallpaperSettings.h"

#include <exception>
#include <functional>
#include <optional>
#include <string>

namespace Lumivera {

/// Shows pictures in a window and handles the keys that every show has. A picture is drawn after
/// each call-out that changed it. Main thread.
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

    /// Called with false while the user has paused the show or nobody can see the window.
    virtual void setRunning(bool running) = 0;

    /// Whether the picture is another one than the one that was drawn last.
    virtual bool hasChanged() = 0;

    /// Draws the picture and returns the damage, as Compositor::composite() does.
    virtual const std::vector<DeviceRect> &draw(const CompositorTarget &target) = 0;

    /// Writes the picture into a new file; its path. Throws a HostError.
    virtual std::string takeScreenshot() = 0;

    /// Called before and after every call-out of the main run loop. The latter presents the
    /// picture.
    virtual void callOutBegins() {}
    virtual void callOutEnded();

    virtual void present();

    /// Makes the end of the current call-out draw even if nothing has changed.
    void drawAgain() { _isPictureWanted = true; }

    /// Keeps a failure of `action` until run() can throw it, and ends the show: an exception must
    /// not leave a call-out, because another thread may wait for its end. Does nothing after a
    /// failure.
    void guard(const std::function<void()> &action);

    void windowVisibilityChanged() override;
    void windowNeedsPicture() override { drawAgain(); }
    void windowClosed() override;
    void keyPressed(WindowKey key) override;

  private:
    void updateRunning() { setRunning(!_isPausedByUser && _window.isVisible()); }
    void saveScreenshot();

    Window &_window;
    const std::optional<double> _seconds;
    std::exception_ptr _failure;
    bool _isPausedByUser = false;
    bool _isPictureWanted = true;
};

} // namespace Lumivera
