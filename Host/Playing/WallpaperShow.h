#pragma once

#include "Host/Playing/Show.h"
#include "Host/Playing/TraceWriter.h"
#include "Host/Playing/WallpaperStage.h"

#include <memory>
#include <optional>
#include <string>

namespace Lumivera {

/// A wallpaper in a window, with its input. Main thread.
class WallpaperShow final : public Show {
  public:
    struct Options {
        /// The size and density in it are ignored: the window's are used.
        WallpaperSettings settings;

        /// The show ends by itself after this time.
        std::optional<double> seconds;

        /// The file that a trace of the petals goes to; empty for none.
        std::string tracePath;

        WallpaperPart part = WallpaperPart::Whole;
    };

    WallpaperShow(Window &window, const WallpaperBundle &bundle, const Options &options);

    /// The visible view.
    DeskTopView &view() { return _stage.view(); }

    /// As WallpaperStage::set().
    void set(const WallpaperValues &values) { _stage.set(values); }

  private:
    UIView &root() override { return _stage.root(); }
    void setRunning(bool running) override { _stage.setRunning(running); }
    void callOutBegins() override;
    void callOutEnded() override;

    void windowResized() override;
    void tapped(CGPoint point) override { _stage.tap(point); }
    void scrolledBy(CGFloat distance) override { _stage.scrollBy(distance); }
    void scrollingEnded() override { _stage.finishScrolling(); }
    void keyPressed(WindowKey key) override;

    void trace();

    WallpaperStage _stage;
    std::unique_ptr<TraceWriter> _trace;
    NSUInteger _frame = 0;
    bool _isFrame = false;
};

} // namespace Lumivera
