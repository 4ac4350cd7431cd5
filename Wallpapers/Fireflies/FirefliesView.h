#pragma once

#include <Lumivera/Wallpaper.h>

#include "Firefly.h"
#include "Stalk.h"

#include <array>
#include <atomic>
#include <vector>

/// A meadow at dusk with fireflies at three depths, and grass in front of them. A tap calls those
/// that are near; a tap on fireflies that have gathered scatters them.
///
/// Everything random is drawn from a generator that takes its seed from rand() in the first frame,
/// so srand() before that frame makes a run repeatable.
class FirefliesView final : public DeskTopView {
  public:
    /// Takes the number of fireflies ("sakura Count": 1 to 300; 0 or missing is 52) and the speed
    /// level ("falling Speed": 0 or more) from the description of the image cache's bundle.
    explicit FirefliesView(const CGRect &frame);

    void initResource() override;
    void doAnimating() override;
    void tapActionAtViewPoint(CGPoint point) override;

    /// Code 2 is a tap; every other code does nothing.
    void gestureAction_atPoint(std::int32_t code, CGPoint point) override;

    /// The wanted number of fireflies. The next frame adds or removes some.
    NSUInteger fireflyCount() const { return _count; }
    void setFireflyCount(NSUInteger count) { _count = count; }

    /// Those that exist, the oldest first.
    const std::vector<Retained<Firefly>> &fireflies() const { return _fireflies; }

    static constexpr NSUInteger kMaxCount = 300;
    static constexpr NSUInteger kDepths = 3;

  private:
    ~FirefliesView() override;

    void readDescription();
    void begin();
    void followSize();
    void followOffset();
    void adjustCount();
    CGFloat pace() const;

    NSUInteger _count;
    std::vector<Retained<Firefly>> _fireflies;
    std::vector<Retained<Stalk>> _stalks;
    std::array<Retained<UIImage>, kDepths> _glows;
    std::array<Retained<UIImage>, 2> _grass;

    /// One view a depth, the farthest first, and that of the stalks.
    std::array<Retained<UIView>, kDepths + 1> _layers;
    std::atomic<bool> _isLoaded{false};
    Lumivera::Random _random;
    CGSize _area{0, 0};
    CGFloat _enlargement = 1;
    CGFloat _scrolled = 0;
};
