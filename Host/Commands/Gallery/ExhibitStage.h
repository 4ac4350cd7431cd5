#pragma once

#include "Host/Commands/Gallery/Exhibit.h"
#include "Platform/UIKit/UIImageView.h"

namespace Lumivera {

/// A flower on a square, and the exhibit that moves it. Main thread.
class ExhibitStage {
  public:
    /// `tile` is the picture under the flower, for exhibits that have one.
    ExhibitStage(const Exhibit &exhibit, const Retained<UIImage> &flower,
                 const Retained<UIImage> &tile, const CGRect &frame);
    ~ExhibitStage();

    ExhibitStage(const ExhibitStage &) = delete;
    ExhibitStage &operator=(const ExhibitStage &) = delete;

    /// The square, whose subviews are the tile and the flower.
    UIView &view() { return *_view; }
    UIView &flower() { return *_flower; }

    /// In points.
    CGFloat side() const { return _side; }

    /// The point that lies so many sides right of the middle and below it.
    CGPoint place(double x, double y) const;

    /// Brings the flower to rest and lets it go through the exhibit, round after round.
    void play();

    /// From now on everything stays as it is shown.
    void hold();

    /// Does so that many seconds from now, unless it is played anew.
    void holdAfter(NSTimeInterval delay);

  private:
    void rest();
    void later(NSTimeInterval delay, const std::function<void()> &action);
    void forgetSteps();

    const Exhibit &_exhibit;
    const CGFloat _side;
    const Retained<UIView> _view;
    const Retained<UIImageView> _tile;
    const Retained<UIImageView> _flower;
    const CGSize _flowerSize;
};

} // namespace Lumivera
