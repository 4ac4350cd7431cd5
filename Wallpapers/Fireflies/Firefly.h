#pragma once

#include <Lumivera/Wallpaper.h>

/// How far from the viewer a firefly lives: where it flies, as fractions of the view's height, how
/// fast, and how much it follows when the desktop scrolls.
struct Depth {
    const char *picture;
    CGFloat top;
    CGFloat bottom;
    CGFloat speed;
    CGFloat follow;
};

/// One firefly: a glow that wanders, flashes in a rhythm of its own and rises while it does, comes
/// when it is called, and then flies apart. Lengths are in points, times in frames. Main thread.
class Firefly final : public UIImageView {
  public:
    Firefly(const Depth &depth, Retained<UIImage> glow, Lumivera::Random &random);

    /// The size of the view that it lives in, and how much larger than its picture it is shown.
    /// Before the first size it has no place; afterwards it keeps its place in proportion.
    void setArea(CGSize area, CGFloat enlargement, Lumivera::Random &random);

    /// One frame. `pace` multiplies its speed.
    void step(CGFloat pace, Lumivera::Random &random);

    /// Moves it along with the desktop; what leaves the area comes back on the other side.
    void scroll(CGFloat distance);

    /// It gathers with others round the point, stays for some seconds and leaves.
    void call(CGPoint point, Lumivera::Random &random);

    /// It flies away from the point.
    void scatter(CGPoint point, Lumivera::Random &random);

    bool isCalled() const { return _stay > 0; }

    /// Where it was called to.
    CGPoint calledTo() const { return _call; }

    /// 0 (dark, and then it is hidden) to 1.
    float light() const { return layer()->opacity(); }

  private:
    ~Firefly() override = default;

    void chooseCourse(Lumivera::Random &random);
    void chooseRhythm(Lumivera::Random &random);
    void fly(CGFloat pace);
    void keepInside();
    void shine();
    CGFloat flash() const;

    const Depth &_depth;
    const CGFloat _size;
    CGSize _area{0, 0};
    CGFloat _enlargement = 1;
    CGPoint _place{0, 0};
    CGPoint _velocity{0, 0};
    CGPoint _course{0, 0};
    int _untilTurn = 0;

    int _beat = 0;
    int _period = 1;
    int _glow = 0;
    bool _isDouble = false;

    CGPoint _call{0, 0};
    CGPoint _spot{0, 0};
    int _stay = 0;
    CGFloat _excitement = 0;
};
