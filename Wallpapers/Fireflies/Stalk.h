#pragma once

#include <Lumivera/Wallpaper.h>

/// A stalk of grass before the meadow that sways about its foot, which is below the view's edge.
/// Main thread.
class Stalk final : public UIImageView {
  public:
    /// `x` is its place as a fraction of the view's width.
    Stalk(Retained<UIImage> picture, CGFloat x, Lumivera::Random &random);

    void setArea(CGSize area);

    /// One frame.
    void step();

  private:
    ~Stalk() override = default;

    const CGFloat _x;
    const CGFloat _height;
    const CGFloat _lean;
    const int _period;
    int _frame;
};
