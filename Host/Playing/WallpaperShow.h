#pragma once

#include "Host/Playing/Show.h"
#include "Host/Playing/TraceWriter.h"
#include "Host/Playing/WallpaperStage.h"

#include <memory>
#include <optional>
#include <string>

namespace Lumivera {

/// A wallpaper on a display, with its input. Main thread.
class WallpaperShow final : public Show {
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

    WallpaperStage &stage() { return _stage; }

    /// The view that is shown.
    DeskTopView &view() { return _stage.view(); }

  private:
    UIView &root() override { return _stage.root(); }
    void setRunning(bool running) override { _stage.setRunning(running); }
    void callOutBegins() override;
    void callOutEnded() override;

    void displayResized() override;
    void tapped(CGPoint point) override { _stage.tap(point); }
    void scrolledBy(CGFloat distance) override { _stage.scrollBy(distance); }
    void scrollingEnded() override { _stage.finishScrolling(); }
    void keyPressed(DisplayKey key) override;

    void trace();

    WallpaperStage _stage;
    std::unique_ptr<TraceWriter> _trace;
    NSUInteger _frame = 0;
    bool _isFrame = false;
};

} // namespace Lumivera
