#pragma once

#include "Host/Playing/AnimationSwitch.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Host/Wallpapers/WallpaperSettings.h"

#include <memory>
#include <vector>

namespace Lumivera {

/// The main screen and the view on it. A screen of another size gets a fresh view, whose petals
/// fill it, once the size has settled; the view of before stays until the fresh one has petals.
/// Main thread; the run loop's observers call callOutBegins and callOutEnded.
class WallpaperStage {
  public:
    /// HostErrors of the bundle come from here and from callOutEnded().
    WallpaperStage(const WallpaperBundle &bundle, const WallpaperSettings &settings);
    ~WallpaperStage();

    WallpaperStage(const WallpaperStage &) = delete;
    WallpaperStage &operator=(const WallpaperStage &) = delete;

    UIView &root() { return *_root; }

    /// The view that is shown.
    DeskTopView &view() { return _shown->view(); }

    void resize(CGSize size, CGFloat density);
    void setRunning(bool running);

    /// Sideways, added to the offset; at most a screen's width either way.
    void scrollBy(CGFloat distance);
    void finishScrolling();

    /// A tap at a point of the screen.
    void tap(CGPoint point);

    /// More or fewer petals and speed levels than now; for wallpapers that have them.
    void changePetalCount(NSInteger difference);
    void changeSpeedLevel(NSInteger difference);

    /// The settings of the view that is shown and of those to come. Counts and scale levels are for
    /// wallpapers that have them.
    void setPetalCount(NSUInteger count);
    void setSpeedLevel(NSInteger level);
    void setScaleLevel(NSInteger level);
    void setScale(CGFloat scale);
    void setOffset(CGFloat offset);

    void callOutBegins();
    void callOutEnded();

  private:
    std::unique_ptr<AnimationSwitch> makeView();
    void beginFreshView();
    void showFreshView();
    void finishLoadedViews();

    const WallpaperBundle &_bundle;
    WallpaperSettings _settings;
    Retained<UIView> _root;
    std::unique_ptr<AnimationSwitch> _shown;
    std::unique_ptr<AnimationSwitch> _fresh;
    std::vector<Weak<DeskTopView>> _unfinished;
    bool _isRunning = true;
    bool _isFreshWanted = false;
    bool _hasFreshBegun = false;
    bool _arePicturesChecked = false;
};

} // namespace Lumivera
