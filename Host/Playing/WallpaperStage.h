#pragma once

#include "Animation/DeskTopView/DeskTopView.h"
#include "Host/Playing/WallpaperKeys.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Host/Wallpapers/WallpaperSettings.h"

#include <memory>
#include <vector>

namespace Lumivera {

/// Pauses and resumes a view, but never before the view has begun to animate by itself. A view that
/// is resumed while its paused loop still runs would be driven by two loops, so the switch waits
/// for the end of the old loop. Main thread.
class AnimationSwitch {
  public:
    explicit AnimationSwitch(Retained<DeskTopView> view);

    AnimationSwitch(const AnimationSwitch &) = delete;
    AnimationSwitch &operator=(const AnimationSwitch &) = delete;

    DeskTopView &view() const { return *_view; }
    void setRunning(bool running);

    /// Pauses or resumes the view if its state differs from the wanted one. Called after everything
    /// that may have started or paused it.
    void update();

  private:
    const Retained<DeskTopView> _view;
    bool _isWanted = true;
    bool _hasBegun = false;
    DeferredCall _updateAgain;
};

/// The main screen and the wallpaper's view on it. When the screen's size has changed and settled,
/// a new view is made, whose petals fill the screen; the old view stays visible until the new one
/// has begun to animate. Main thread; the run loop's observers call callOutBegins() and
/// callOutEnded().
class WallpaperStage {
  public:
    /// The constructor and callOutEnded() throw a HostError when the bundle fails.
    WallpaperStage(const WallpaperBundle &bundle, const WallpaperSettings &settings,
                   WallpaperPart part = WallpaperPart::Whole);
    ~WallpaperStage();

    WallpaperStage(const WallpaperStage &) = delete;
    WallpaperStage &operator=(const WallpaperStage &) = delete;

    UIView &root() { return *_root; }

    /// The visible view.
    DeskTopView &view() { return _shown->view(); }

    void resize(CGSize size, CGFloat density);
    void setRunning(bool running);

    /// Moves the offset, at most a screen's width either way.
    void scrollBy(CGFloat distance);
    void finishScrolling();

    /// A tap at a point of the screen.
    void tap(CGPoint point);

    /// The visible view's own petals, and the speed level that it was given.
    PlayedValues playedValues();

    /// Gives the values to the visible view and to those that are made later. A tint shades later
    /// views only.
    void set(const WallpaperValues &values);

    void callOutBegins();
    void callOutEnded();

  private:
    std::unique_ptr<AnimationSwitch> makeView();
    void beginFreshView();
    void showFreshView();
    void finishLoadedViews();
    void hideOtherParts();

    const WallpaperBundle &_bundle;
    WallpaperSettings _settings;
    const WallpaperPart _part;
    Retained<UIView> _root;
    std::unique_ptr<AnimationSwitch> _shown;
    std::unique_ptr<AnimationSwitch> _fresh;
    std::vector<Weak<DeskTopView>> _unfinished;
    bool _isRunning = true;
    bool _isFreshWanted = false;
    bool _hasFreshBegun = false;
    bool _arePicturesChecked = false;
    DeferredCall _sizeSettled;
    DeferredCall _showAnyway;
};

} // namespace Lumivera
