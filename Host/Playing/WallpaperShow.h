#pragma once

#include "Host/Playing/TreeShow.h"
#include "Host/Playing/WallpaperStage.h"

#include <functional>
#include <optional>

namespace Lumivera {

/// A wallpaper in a window, with its input. Main thread.
class WallpaperShow final : public TreeShow {
  public:
    struct Options {
        /// The size and density in it are ignored: the window's are used.
        WallpaperSettings settings;

        /// The show ends by itself after this time.
        std::optional<double> seconds;

        /// Called after each frame of the visible view, with the frame's time; may throw.
        std::function<void(NSTimeInterval time, const DeskTopView &view)> frameEnded = {};

        WallpaperPart part = WallpaperPart::Whole;
    };

    WallpaperShow(Window &window, const WallpaperBundle &bundle, const Options &options);

    /// The visible view.
    DeskTopView &view() { return _stage.view(); }

    /// As WallpaperStage::set().
    void set(const WallpaperValues &values) { _stage.set(values); }

  private:
    void nameCall();

    UIView &root() override { return _stage.root(); }
    void setRunning(bool running) override { _stage.setRunning(running); }
    void callOutBegins() override;
    void callOutEnded() override;

    void windowResized() override;
    void tapped(CGPoint point) override { _stage.tap(point); }
    void scrolledBy(CGFloat distance) override { _stage.scrollBy(distance); }
    void scrollingEnded() override { _stage.finishScrolling(); }
    void keyPressed(WindowKey key) override;

    WallpaperStage _stage;
    const std::function<void(NSTimeInterval time, const DeskTopView &view)> _frameEnded;
    bool _isFrame = false;
    bool _hasBegun = false;
};

} // namespace Lumivera
