#include "Platform/UIKit/UIView.h"

#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

constexpr CGFloat kInfinity = std::numeric_limits<CGFloat>::infinity();

/// A subclass, as wallpapers make them, that records its calls.
class Probe final : public UIView {
  public:
    explicit Probe(std::string &trace, const CGRect &frame = {}) : UIView(frame), _trace(trace) {}

    void removeFromSuperview() override {
        _trace += "removed ";
        UIView::removeFromSuperview();
    }

    void setFrame(const CGRect &frame) override {
        _trace += "framed ";
        UIView::setFrame(frame);
        if (atFrame) {
            atFrame();
        }
    }

    std::function<void()> atFrame;

  private:
    ~Probe() override { _trace += NSThread::isMainThread() ? "died " : "died elsewhere "; }

    std::string &_trace;
};

std::vector<UIView *> subviews(const UIView &view) {
    std::vector<UIView *> list;
    for (NSUInteger i = 0; i < view.subviewCount(); ++i) {
        list.push_back(view.subviewAtIndex(i));
    }
    return list;
}

/// Expects that a view's layer has the layers of its subviews, in their order.
void expectLayersFollow(const UIView &view) {
    const auto list = subviews(view);
    ASSERT_EQ(view.layer()->sublayers().size(), list.size());
    for (std::size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(view.layer()->sublayers()[i], list[i]->layer());
        EXPECT_EQ(list[i]->superview(), &view);
    }
}

class UIViewTest : public SimulatedTimeTest {
  protected:
    Retained<UIView> view(const CGRect &frame = {}) { return UIView::initWithFrame(frame); }
    Retained<Probe> probe(const CGRect &frame = {}) { return makeRetained<Probe>(_trace, frame); }

    std::string _trace;
    Retained<UIView> _view = UIView::initWithFrame({{10, 20}, {100, 200}});
};

} // namespace

TEST_F(UIViewTest, StartsAsAPlainView) {
    EXPECT_EQ(_view->frame(), (CGRect{{10, 20}, {100, 200}}));
    EXPECT_EQ(_view->bounds(), (CGRect{{0, 0}, {100, 200}}));
    EXPECT_EQ(_view->center(), CGPointMake(60, 120));
    EXPECT_FALSE(_view->clipsToBounds());
    EXPECT_FALSE(_view->isHidden());
    EXPECT_TRUE(_view->isUserInteractionEnabled());
    EXPECT_EQ(_view->autoresizingMask(), NSUInteger{UIViewAutoresizingNone});
    EXPECT_EQ(_view->contentMode(), UIViewContentModeScaleToFill);
    EXPECT_EQ(_view->superview(), nullptr);
    EXPECT_EQ(_view->subviewCount(), 0u);
}

TEST_F(UIViewTest, CenterMovesTheFrame) {
    _view->setCenter({0, 0});
    EXPECT_EQ(_view->frame(), (CGRect{{-50, -100}, {100, 200}}));
    EXPECT_EQ(_view->bounds(), (CGRect{{0, 0}, {100, 200}}));
}

TEST_F(UIViewTest, BoundsKeepTheCenter) {
    _view->setBounds({{0, 0}, {20, 40}});
    EXPECT_EQ(_view->center(), CGPointMake(60, 120));
    EXPECT_EQ(_view->frame(), (CGRect{{50, 100}, {20, 40}}));
}

TEST_F(UIViewTest, FrameOfARotatedViewIsTheBoxAroundItsCorners) {
    for (CGFloat angle = -7; angle < 7; angle += 0.37) {
        _view->layer()->setTransform(CATransform3DMakeRotation(angle, 0, 0, 1));
        CGFloat reachX = 0;
        CGFloat reachY = 0;
        for (const auto &[x, y] : {std::pair<CGFloat, CGFloat>{50, 100}, {50, -100}}) {
            reachX = std::max(reachX, std::abs(x * std::cos(angle) - y * std::sin(angle)));
            reachY = std::max(reachY, std::abs(x * std::sin(angle) + y * std::cos(angle)));
        }
        const CGRect frame = _view->frame();
        EXPECT_NEAR(frame.origin.x, 60 - reachX, 1e-9);
        EXPECT_NEAR(frame.origin.y, 120 - reachY, 1e-9);
        EXPECT_NEAR(frame.size.width, 2 * reachX, 1e-9);
        EXPECT_NEAR(frame.size.height, 2 * reachY, 1e-9);
    }
}

TEST_F(UIViewTest, SettingItsOwnFrameUnderAScaleGivesTheBoundsBackToTheBit) {
    std::mt19937_64 random(6);
    std::uniform_real_distribution<CGFloat> number(0.001, 3000);
    for (int i = 0; i < 10'000; ++i) {
        const CGRect bounds{{0, 0}, {number(random), number(random)}};
        _view->layer()->setTransform(CATransform3DIdentity);
        _view->setBounds(bounds);
        const CGFloat scale = number(random) / 1000;
        const CGPoint origin = _view->frame().origin;
        _view->layer()->setTransform(CATransform3DMakeScale(scale, scale, 1));
        _view->setFrame({origin, _view->frame().size});
        const CGRect after = _view->bounds();
        ASSERT_EQ(std::memcmp(&after, &bounds, sizeof bounds), 0) << scale;
        ASSERT_NEAR(_view->frame().origin.x, origin.x, 1e-9);
    }
}

TEST_F(UIViewTest, AScaleOfZeroKeepsTheBounds) {
    _view->layer()->setTransform(CATransform3DMakeScale(0, 0, 1));
    _view->setFrame({{10, 20}, _view->frame().size});
    EXPECT_EQ(_view->bounds().size, CGSizeMake(100, 200));
    _view->setFrame({{10, 20}, {5, 5}});
    EXPECT_EQ(_view->bounds().size, CGSizeMake(100, 200));
}

TEST_F(UIViewTest, TakesNumbersThatAreNone) {
    const auto child = view({{1, 2}, {3, 4}});
    child->setAutoresizingMask(63);
    _view->addSubview(child.get());
    for (const CGFloat odd : {static_cast<CGFloat>(std::nan("")), kInfinity, -kInfinity}) {
        _view->setFrame({{odd, odd}, {odd, odd}});
        _view->setCenter({odd, odd});
        _view->setBounds({{odd, odd}, {odd, odd}});
        _view->setFrame({{0, 0}, {10, 10}});
        EXPECT_EQ(_view->bounds().size, CGSizeMake(10, 10));
    }
}

TEST_F(UIViewTest, KeepsItsSwitches) {
    _view->setClipsToBounds(true);
    _view->setHidden(true);
    _view->setUserInteractionEnabled(false);
    EXPECT_TRUE(_view->clipsToBounds());
    EXPECT_TRUE(_view->layer()->masksToBounds());
    EXPECT_TRUE(_view->isHidden());
    EXPECT_TRUE(_view->layer()->isHidden());
    EXPECT_FALSE(_view->isUserInteractionEnabled());
}

TEST_F(UIViewTest, PaintsItsBackgroundColor) {
    _view->setBackgroundColor(UIColor::colorWithRed_green_blue_alpha(1, 0.5, 0, 0.25).get());
    EXPECT_EQ(_view->layer()->backgroundColor(), (CGColor{1, 0.5, 0, 0.25}));
    _view->setBackgroundColor(nullptr);
    EXPECT_EQ(_view->layer()->backgroundColor().alpha, 0);
}

TEST_F(UIViewTest, ContentModesAreTheLayersGravities) {
    const std::pair<UIViewContentMode, ContentsGravity> table[] = {
        {UIViewContentModeScaleAspectFill, ContentsGravity::ResizeAspectFill},
        {UIViewContentModeScaleAspectFit, ContentsGravity::ResizeAspect},
        {UIViewContentModeCenter, ContentsGravity::Center},
        {UIViewContentModeScaleToFill, ContentsGravity::Resize},
    };
    for (const auto &[mode, gravity] : table) {
        _view->setContentMode(mode);
        EXPECT_EQ(_view->contentMode(), mode);
        EXPECT_EQ(_view->layer()->contentsGravity(), gravity);
    }
}

TEST_F(UIViewTest, KeepsSubviewsBackToFront) {
    const auto a = view();
    const auto b = view();
    const auto c = view();
    for (const auto &subview : {a, b, c}) {
        _view->addSubview(subview.get());
    }
    EXPECT_EQ(subviews(*_view), (std::vector<UIView *>{a.get(), b.get(), c.get()}));
    EXPECT_EQ(_view->subviewAtIndex(3), nullptr);
    expectLayersFollow(*_view);
    _view->addSubview(a.get());
    EXPECT_EQ(subviews(*_view), (std::vector<UIView *>{b.get(), c.get(), a.get()}));
    expectLayersFollow(*_view);
    c->removeFromSuperview();
    EXPECT_EQ(subviews(*_view), (std::vector<UIView *>{b.get(), a.get()}));
    expectLayersFollow(*_view);
}

TEST_F(UIViewTest, OwnsItsSubviews) {
    auto child = probe();
    _view->addSubview(child.get());
    child = nullptr;
    EXPECT_EQ(_trace, "");
    _view->subviewAtIndex(0)->removeFromSuperview();
    EXPECT_EQ(_trace, "removed died ");
    EXPECT_EQ(_view->subviewCount(), 0u);
}

TEST_F(UIViewTest, ReparentingTakesAViewFromWhereItWasWithoutItsNotice) {
    const auto other = view();
    const auto child = probe();
    _view->addSubview(child.get());
    other->addSubview(child.get());
    EXPECT_EQ(_view->subviewCount(), 0u);
    EXPECT_EQ(child->superview(), other.get());
    expectLayersFollow(*_view);
    expectLayersFollow(*other);
    EXPECT_EQ(child->retainCount(), 2u);
    EXPECT_EQ(_trace, "");
}

TEST_F(UIViewTest, RefusesNullItselfAndItsSuperviews) {
    const auto child = view();
    const auto grandchild = view();
    _view->addSubview(child.get());
    child->addSubview(grandchild.get());
    grandchild->addSubview(nullptr);
    grandchild->addSubview(grandchild.get());
    grandchild->addSubview(child.get());
    grandchild->addSubview(_view.get());
    EXPECT_EQ(grandchild->subviewCount(), 0u);
    EXPECT_EQ(_view->superview(), nullptr);
    EXPECT_EQ(child->superview(), _view.get());
    expectLayersFollow(*_view);
    expectLayersFollow(*child);
}

TEST_F(UIViewTest, RemovingAViewThatIsInNoTreeDoesNothing) {
    _view->removeFromSuperview();
    EXPECT_EQ(_view->retainCount(), 1u);
}

TEST_F(UIViewTest, ADyingSuperviewReleasesItsSubviewsWithoutTheirNotice) {
    const auto kept = probe();
    auto dropped = probe();
    _view->addSubview(kept.get());
    _view->addSubview(dropped.get());
    dropped = nullptr;
    _view = nullptr;
    EXPECT_EQ(_trace, "died ");
    EXPECT_EQ(kept->superview(), nullptr);
    EXPECT_EQ(kept->layer()->superlayer(), nullptr);
    EXPECT_EQ(kept->retainCount(), 1u);
}

TEST_F(UIViewTest, DiesOnTheMainThreadWhoeverDropsIt) {
    auto dropped = probe();
    auto child = probe();
    dropped->addSubview(child.get());
    child = nullptr;
    NSThread::detachNewThread(nullptr, [&] {
        dropped = nullptr;
        EXPECT_EQ(_trace, "");
    });
    runForSeconds(1);
    EXPECT_EQ(_trace, "died died ");
}

TEST_F(UIViewTest, DiesOnTheMainThreadWhenAnotherThreadRemovesIt) {
    _view->addSubview(probe().get());
    NSThread::detachNewThread(nullptr, [&] { _view->subviewAtIndex(0)->removeFromSuperview(); });
    runForSeconds(1);
    EXPECT_EQ(_trace, "removed died ");
}

TEST_F(UIViewTest, AChangeMarksTheTreeForCompositing) {
    const auto child = view();
    _view->addSubview(child.get());
    _view->layer()->didComposite();
    child->setCenter({1, 2});
    EXPECT_TRUE(_view->layer()->needsComposite());
    _view->layer()->didComposite();
    child->removeFromSuperview();
    EXPECT_TRUE(_view->layer()->needsComposite());
    _view->layer()->didComposite();
    child->setCenter({3, 4});
    EXPECT_FALSE(_view->layer()->needsComposite());
}

namespace {

struct Resizing {
    NSUInteger mask;
    CGRect expected;
};

class UIViewResizing : public SimulatedTimeTest, public ::testing::WithParamInterface<Resizing> {};

} // namespace

/// A view that has a subview of 30 × 40 at (10, 20) grows by 60 × 30.
TEST_P(UIViewResizing, SharesTheDifferenceOfSizes) {
    const auto view = UIView::initWithFrame({{0, 0}, {100, 100}});
    const auto child = UIView::initWithFrame({{10, 20}, {30, 40}});
    child->setAutoresizingMask(GetParam().mask);
    view->addSubview(child.get());
    view->setFrame({{5, 5}, {160, 130}});
    EXPECT_EQ(child->frame(), GetParam().expected);
    view->setBounds({{0, 0}, {100, 100}});
    EXPECT_EQ(child->frame(), (CGRect{{10, 20}, {30, 40}}));
}

INSTANTIATE_TEST_SUITE_P(
    Table, UIViewResizing,
    ::testing::Values(Resizing{0, {{10, 20}, {30, 40}}}, Resizing{1, {{70, 20}, {30, 40}}},
                      Resizing{2, {{10, 20}, {90, 40}}}, Resizing{4, {{10, 20}, {30, 40}}},
                      Resizing{1 | 4, {{40, 20}, {30, 40}}}, Resizing{1 | 2, {{40, 20}, {60, 40}}},
                      Resizing{2 | 4, {{10, 20}, {60, 40}}},
                      Resizing{1 | 2 | 4, {{30, 20}, {50, 40}}}, Resizing{8, {{10, 50}, {30, 40}}},
                      Resizing{16, {{10, 20}, {30, 70}}}, Resizing{32, {{10, 20}, {30, 40}}},
                      Resizing{8 | 32, {{10, 35}, {30, 40}}},
                      Resizing{8 | 16 | 32, {{10, 30}, {30, 50}}},
                      Resizing{2 | 16, {{10, 20}, {90, 70}}}, Resizing{63, {{30, 30}, {50, 50}}}));

TEST_F(UIViewTest, AutoresizingReachesSubviewsOfSubviews) {
    const auto child = view({{0, 0}, {100, 200}});
    const auto grandchild = view({{0, 0}, {100, 200}});
    child->setAutoresizingMask(18);
    grandchild->setAutoresizingMask(18);
    _view->addSubview(child.get());
    child->addSubview(grandchild.get());
    _view->setFrame({{0, 0}, {320, 480}});
    EXPECT_EQ(grandchild->frame(), (CGRect{{0, 0}, {320, 480}}));
}

TEST_F(UIViewTest, AutoresizingAsksTheSubviewToSetItsFrame) {
    const auto child = probe({{0, 0}, {10, 10}});
    child->setAutoresizingMask(18);
    _view->addSubview(child.get());
    _view->setFrame({{5, 5}, {100, 200}});
    EXPECT_EQ(_trace, "") << "a move alone";
    _view->setFrame({{5, 5}, {110, 200}});
    EXPECT_EQ(_trace, "framed ");
}

TEST_F(UIViewTest, AScaleAloneDoesNotResizeSubviews) {
    const auto child = probe({{0, 0}, {100, 200}});
    child->setAutoresizingMask(18);
    _view->addSubview(child.get());
    _view->layer()->setTransform(CATransform3DMakeScale(0.3, 0.3, 1));
    _view->setFrame({{10, 20}, _view->frame().size});
    EXPECT_EQ(_trace, "");
}

TEST_F(UIViewTest, ASubviewMayLeaveWhileItIsResized) {
    for (int i = 0; i < 3; ++i) {
        const auto child = probe({{0, 0}, {10, 10}});
        Probe *plain = child.get();
        child->atFrame = [plain] { plain->UIView::removeFromSuperview(); };
        child->setAutoresizingMask(2);
        _view->addSubview(child.get());
    }
    _view->setFrame({{0, 0}, {300, 200}});
    EXPECT_EQ(_trace, "framed died framed died ");
    EXPECT_EQ(_view->subviewCount(), 1u);
}

/// So many subviews that a walk over all of them at each step would take noticeably long.
TEST_F(UIViewTest, HoldsAndDestroysAHundredThousandSubviews) {
    constexpr std::size_t kCount = 100'000;
    auto crowd = UIView::initWithFrame({{0, 0}, {100, 100}});
    for (std::size_t i = 0; i < kCount; ++i) {
        crowd->addSubview(probe({}).get());
    }
    EXPECT_EQ(crowd->subviewCount(), kCount);
    EXPECT_EQ(_trace, "");
    crowd = nullptr;
    EXPECT_EQ(_trace.size(), kCount * std::string("died ").size());
}
