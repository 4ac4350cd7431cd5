#pragma once

#include "Host/Commands/Gallery/Exhibit.h"
#include "Platform/UIKit/UIImageView.h"

namespace Lumivera {

/// A square with a flower that an exhibit animates. Main thread.
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

    /// The point `x` sides to the right of the middle and `y` sides below it.
    CGPoint place(double x, double y) const;

    /// Puts the flower in its resting place and repeats the exhibit's rounds.
    void play();

    /// Freezes everything as it is shown now.
    void hold();

    /// Calls hold() in `delay` seconds, unless play() is called before.
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
