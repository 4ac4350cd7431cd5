#pragma once

#include "Host/Displays/Display.h"
#include "Host/Rendering/TraceWriter.h"
#include "Host/Showing/WallpaperStage.h"
#include "Platform/Compositor/SoftwareCompositor.h"

#include <exception>
#include <optional>
#include <string>

namespace Lumivera {

/// A wallpaper on a display, with its input, until somebody ends it. Main thread.
class WallpaperShow final : private Display::Listener {
  public:
    struct Options {
        /// How the wallpaper is to be shown; size and density are the display's.
        WallpaperSettings settings;

        /// Ends by itself after that many seconds.
        std::optional<double> seconds;

        /// Where petals are traced to; empty for nowhere.
        std::string tracePath;
    };

    WallpaperShow(Display &display, const WallpaperBundle &bundle, const Options &options);
    ~WallpaperShow();

    WallpaperShow(const WallpaperShow &) = delete;
    WallpaperShow &operator=(const WallpaperShow &) = delete;

    /// Returns when the user, the time or NSRunLoop::stop ends it; throws the HostError that did.
    void run();

    /// The view that is shown.
    DeskTopView &view() { return _stage.view(); }

  private:
    void displayResized() override;
    void displayVisibilityChanged() override;
    void displayNeedsPicture() override { _isPictureLost = true; }
    void displayClosed() override;
    void tapped(CGPoint point) override { _stage.tap(point); }
    void scrolledBy(CGFloat distance) override { _stage.scrollBy(distance); }
    void scrollingEnded() override { _stage.finishScrolling(); }
    void keyPressed(DisplayKey key) override;

    void guard(const std::function<void()> &action);
    void callOutBegins();
    void callOutEnded();
    void draw();
    void trace();
    void updateRunning();
    void takeScreenshot();

    Display &_display;
    SoftwareCompositor _compositor;
    WallpaperStage _stage;
    std::unique_ptr<TraceWriter> _trace;
    const std::optional<double> _seconds;
    std::exception_ptr _failure;
    NSUInteger _frame = 0;
    bool _isFrame = false;
    bool _isPausedByUser = false;
    bool _isPictureLost = true;
};

} // namespace Lumivera
