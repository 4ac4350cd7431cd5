#pragma once

#include "Animation/DeskTopView/DeskTopView.h"

namespace Lumivera {

/// Keeps a view animating or paused, as wanted, from the moment it first animates by itself. A
/// view that is resumed before its paused loop has ended would be driven by two; the switch waits
/// that loop out. Main thread.
class AnimationSwitch {
  public:
    explicit AnimationSwitch(Retained<DeskTopView> view);
    ~AnimationSwitch();

    AnimationSwitch(const AnimationSwitch &) = delete;
    AnimationSwitch &operator=(const AnimationSwitch &) = delete;

    DeskTopView &view() const { return *_view; }
    void setRunning(bool running);

    /// Brings the view to what is wanted; called after everything that may have changed it.
    void update();

  private:
    void checkLater();
    void cancelCheck();

    const Retained<DeskTopView> _view;
    bool _isWanted = true;
    bool _hasBegun = false;
    bool _isCheckPending = false;
};

} // namespace Lumivera
