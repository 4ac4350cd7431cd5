#pragma once

#include "Exhibit.h"

/// A square panel with an exhibit: a caption above a stage, on which the flower is. Main thread.
class Card {
  public:
    /// The exhibit must outlive the card.
    explicit Card(const Exhibit &exhibit);

    UIView &view() const { return *_view; }
    const Exhibit &exhibit() const { return _exhibit; }

    /// What the exhibit's steps animate.
    UIView &stage() const { return *_stage; }
    UIView &flower() const { return *_flower; }

    /// The stage's, in points.
    CGFloat side() const { return _stage->bounds().size.width; }

    /// The point `x` sides to the right of the stage's middle and `y` sides below it.
    CGPoint place(double x, double y) const;

    /// Lays the card out in a square.
    void setFrame(const CGRect &frame);

    /// Its first round begins at that time; the card is hidden until then.
    void beginAt(NSTimeInterval time);

    /// Does what is due. Once a frame.
    void play(NSTimeInterval now);

    /// Freezes what is shown, until the card begins again.
    void hold();

  private:
    void rest();

    const Exhibit &_exhibit;
    const Retained<UIView> _view;
    const Retained<UIImageView> _panel;
    const Retained<UIImageView> _caption;
    const Retained<UIView> _stage;
    const Retained<UIImageView> _tile;
    const Retained<UIImageView> _flower;
    CGSize _flowerSize;
    NSTimeInterval _roundStart = 0;
    std::size_t _nextStep = 0;
};
