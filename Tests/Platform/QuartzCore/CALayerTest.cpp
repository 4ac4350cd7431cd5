#include "Platform/QuartzCore/CALayer.h"

#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace {

constexpr CGFloat kInfinity = std::numeric_limits<CGFloat>::infinity();
const CGFloat kNaN = std::nan("");

/// The bounding box of the four corners of the bounds, each transformed by itself.
CGRect boxOfCorners(const CALayer &layer) {
    const CATransform3D t = layer.transform();
    const CGSize size = layer.bounds().size;
    long double left = INFINITY;
    long double top = INFINITY;
    long double right = -INFINITY;
    long double bottom = -INFINITY;
    for (const auto &[u, v] : {std::pair{0, 0}, {0, 1}, {1, 0}, {1, 1}}) {
        const long double x = (u - static_cast<long double>(layer.anchorPoint().x)) * size.width;
        const long double y = (v - static_cast<long double>(layer.anchorPoint().y)) * size.height;
        const long double w = x * t.m14 + y * t.m24 + t.m44;
        const long double px = layer.position().x + (x * t.m11 + y * t.m21 + t.m41) / w;
        const long double py = layer.position().y + (x * t.m12 + y * t.m22 + t.m42) / w;
        left = std::min(left, px);
        right = std::max(right, px);
        top = std::min(top, py);
        bottom = std::max(bottom, py);
    }
    return CGRectMake(static_cast<CGFloat>(left), static_cast<CGFloat>(top),
                      static_cast<CGFloat>(right - left), static_cast<CGFloat>(bottom - top));
}

void expectNear(const CGRect &actual, const CGRect &expected, CGFloat tolerance = 1e-9) {
    EXPECT_NEAR(actual.origin.x, expected.origin.x, tolerance);
    EXPECT_NEAR(actual.origin.y, expected.origin.y, tolerance);
    EXPECT_NEAR(actual.size.width, expected.size.width, tolerance);
    EXPECT_NEAR(actual.size.height, expected.size.height, tolerance);
}

bool areSameBits(const CGSize &a, const CGSize &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

class CALayerTest : public SimulatedTimeTest {
  protected:
    Retained<CALayer> _layer = makeRetained<CALayer>();
};

/// A layer with sublayers and their sublayers, all of them already drawn.
class CALayerTreeTest : public CALayerTest {
  public:
    CALayerTreeTest() {
        _layer->addSublayer(_child.get());
        _layer->addSublayer(_sibling.get());
        _child->addSublayer(_grandchild.get());
        _layer->didComposite();
    }

  protected:
    Retained<CALayer> _child = makeRetained<CALayer>();
    Retained<CALayer> _sibling = makeRetained<CALayer>();
    Retained<CALayer> _grandchild = makeRetained<CALayer>();
};

} // namespace

TEST_F(CALayerTest, StartsEmptyAndPlain) {
    EXPECT_EQ(_layer->position(), CGPoint());
    EXPECT_EQ(_layer->bounds(), CGRect());
    EXPECT_EQ(_layer->frame(), CGRect());
    EXPECT_EQ(_layer->anchorPoint(), CGPointMake(0.5, 0.5));
    EXPECT_EQ(_layer->transform(), CATransform3DIdentity);
    EXPECT_EQ(_layer->sublayerTransform(), CATransform3DIdentity);
    EXPECT_EQ(_layer->opacity(), 1);
    EXPECT_FALSE(_layer->isHidden());
    EXPECT_FALSE(_layer->masksToBounds());
    EXPECT_EQ(_layer->backgroundColor().alpha, 0);
    EXPECT_FALSE(_layer->contents());
    EXPECT_EQ(_layer->contentsScale(), 1);
    EXPECT_EQ(_layer->contentsGravity(), ContentsGravity::Resize);
    EXPECT_EQ(_layer->superlayer(), nullptr);
}

TEST_F(CALayerTest, KeepsWhatItIsGiven) {
    const CATransform3D t = CATransform3DMakeRotation(1, 1, 2, 3);
    _layer->setTransform(t);
    _layer->setSublayerTransform(t);
    _layer->setOpacity(0.25F);
    _layer->setHidden(true);
    _layer->setMasksToBounds(true);
    _layer->setBackgroundColor({0.1, 0.2, 0.3, 0.4});
    _layer->setContentsScale(3);
    _layer->setContentsGravity(ContentsGravity::Center);
    EXPECT_EQ(_layer->transform(), t);
    EXPECT_EQ(_layer->transformInPlace(), t);
    EXPECT_EQ(_layer->sublayerTransform(), t);
    EXPECT_EQ(_layer->sublayerTransformInPlace(), t);
    EXPECT_EQ(_layer->opacity(), 0.25F);
    EXPECT_TRUE(_layer->isHidden());
    EXPECT_TRUE(_layer->masksToBounds());
    EXPECT_EQ(_layer->backgroundColor(), (CGColor{0.1, 0.2, 0.3, 0.4}));
    EXPECT_EQ(_layer->contentsScale(), 3);
    EXPECT_EQ(_layer->contentsGravity(), ContentsGravity::Center);
}

TEST_F(CALayerTest, KeepsAContentsScaleThatIsNotAboveZeroAsOne) {
    for (const CGFloat scale : {0.0, -2.0, kNaN}) {
        _layer->setContentsScale(2);
        _layer->setContentsScale(scale);
        EXPECT_EQ(_layer->contentsScale(), 1);
    }
}

TEST_F(CALayerTest, FrameGivesPositionAndBounds) {
    _layer->setFrame({{10, 20}, {30, 50}});
    EXPECT_EQ(_layer->position(), CGPointMake(25, 45));
    EXPECT_EQ(_layer->bounds(), (CGRect{{0, 0}, {30, 50}}));
    EXPECT_EQ(_layer->frame(), (CGRect{{10, 20}, {30, 50}}));
}

TEST_F(CALayerTest, PositionMovesTheFrame) {
    _layer->setFrame({{10, 20}, {30, 50}});
    _layer->setPosition({100, 100});
    EXPECT_EQ(_layer->frame(), (CGRect{{85, 75}, {30, 50}}));
}

TEST_F(CALayerTest, BoundsGrowAboutTheAnchorPoint) {
    _layer->setFrame({{10, 20}, {30, 50}});
    _layer->setBounds({{3, 4}, {40, 60}});
    EXPECT_EQ(_layer->position(), CGPointMake(25, 45));
    EXPECT_EQ(_layer->frame(), (CGRect{{5, 15}, {40, 60}}));
    EXPECT_EQ(_layer->bounds().origin, CGPointMake(3, 4));
}

TEST_F(CALayerTest, AnchorPointMovesTheFrame) {
    _layer->setFrame({{10, 20}, {30, 50}});
    _layer->setAnchorPoint({0, 1});
    EXPECT_EQ(_layer->frame(), (CGRect{{25, -5}, {30, 50}}));
    _layer->setFrame({{10, 20}, {30, 50}});
    EXPECT_EQ(_layer->position(), CGPointMake(10, 70));
}

TEST_F(CALayerTest, SettingTheFrameKeepsTheOriginOfTheBounds) {
    _layer->setBounds({{7, 8}, {10, 10}});
    _layer->setFrame({{0, 0}, {20, 20}});
    EXPECT_EQ(_layer->bounds(), (CGRect{{7, 8}, {20, 20}}));
}

TEST_F(CALayerTest, ASizeMayNotBeNegativeOrNaN) {
    _layer->setBounds({{0, 0}, {-3, kNaN}});
    EXPECT_EQ(_layer->bounds().size, CGSizeMake(0, 0));
    _layer->setFrame({{10, 20}, {-30, -40}});
    EXPECT_EQ(_layer->bounds().size, CGSizeMake(0, 0));
    EXPECT_EQ(_layer->frame(), (CGRect{{10, 20}, {0, 0}}));
}

TEST_F(CALayerTest, FrameOfATransformedLayerIsTheBoxAroundItsCorners) {
    std::mt19937 random(3);
    std::uniform_real_distribution<CGFloat> length(0, 500);
    std::uniform_real_distribution<CGFloat> place(-500, 500);
    std::uniform_real_distribution<CGFloat> small(-2, 2);
    for (int i = 0; i < 500; ++i) {
        _layer->setBounds({{place(random), 0}, {length(random), length(random)}});
        _layer->setPosition({place(random), place(random)});
        _layer->setAnchorPoint({small(random), small(random)});
        CATransform3D t = CATransform3DMakeRotation(place(random), 0, 0, 1);
        t = CATransform3DScale(t, small(random), small(random), 1);
        t = CATransform3DRotate(t, small(random), 1, small(random), 0);
        t = CATransform3DTranslate(t, place(random), place(random), 0);
        _layer->setTransform(t);
        expectNear(_layer->frame(), boxOfCorners(*_layer));
        if (HasFailure()) {
            break;
        }
    }
}

TEST_F(CALayerTest, FrameUnderPerspectiveIsTheBoxAroundItsCorners) {
    _layer->setFrame({{0, 0}, {200, 100}});
    CATransform3D perspective = CATransform3DIdentity;
    perspective.m34 = -1.0 / 500;
    for (const CGFloat angle : {0.2, -0.6, 1.2}) {
        _layer->setTransform(CATransform3DRotate(perspective, angle, 1, 1, 0));
        expectNear(_layer->frame(), boxOfCorners(*_layer));
        EXPECT_NE(_layer->frame().size.width, 200);
    }
}

TEST_F(CALayerTest, FrameUnderAQuarterTurnSwapsTheSides) {
    _layer->setFrame({{0, 0}, {30, 10}});
    _layer->setTransform(CATransform3DMakeRotation(std::acos(-1) / 2, 0, 0, 1));
    expectNear(_layer->frame(), {{10, -10}, {10, 30}});
    _layer->setFrame({{5, 5}, {20, 40}});
    expectNear({{0, 0}, _layer->bounds().size}, {{0, 0}, {40, 20}});
    expectNear(_layer->frame(), {{5, 5}, {20, 40}});
}

TEST_F(CALayerTest, SettingItsOwnFrameUnderAScaleKeepsTheBoundsToTheBit) {
    std::mt19937_64 random(4);
    std::uniform_real_distribution<CGFloat> length(0, 5000);
    std::uniform_real_distribution<CGFloat> exponent(-8, 8);
    for (int i = 0; i < 20'000; ++i) {
        const CGSize size{length(random), length(random)};
        _layer->setBounds({{0, 0}, size});
        _layer->setTransform(
            CATransform3DMakeScale(std::exp(exponent(random)), -std::exp(exponent(random)), 1));
        const CGPoint corner{length(random), length(random)};
        _layer->setFrame({corner, _layer->frame().size});
        ASSERT_TRUE(areSameBits(_layer->bounds().size, size)) << size.width << " " << size.height;
    }
}

TEST_F(CALayerTest, MovingTheFrameOfATurnedLayerKeepsTheBoundsToTheBit) {
    _layer->setBounds({{0, 0}, {30, 40}});
    _layer->setTransform(CATransform3DMakeRotation(0.5, 0, 0, 1));
    _layer->setFrame({{1, 2}, _layer->frame().size});
    EXPECT_EQ(_layer->bounds().size, CGSizeMake(30, 40));
    EXPECT_NEAR(_layer->frame().origin.x, 1, 1e-12);
    EXPECT_NEAR(_layer->frame().origin.y, 2, 1e-12);
}

TEST_F(CALayerTest, TheBoundsOfATurnedLayerHoldItsNewFrameTakenBack) {
    const CGFloat c = std::cos(0.5);
    const CGFloat s = std::sin(0.5);
    _layer->setTransform(CATransform3DMakeRotation(0.5, 0, 0, 1));
    _layer->setFrame({{0, 0}, {100, 60}});
    EXPECT_NEAR(_layer->bounds().size.width, c * 100 + s * 60, 1e-12);
    EXPECT_NEAR(_layer->bounds().size.height, s * 100 + c * 60, 1e-12);
}

TEST_F(CALayerTest, ALengthOfTheFrameThatStaysKeepsItsBoundsToTheBit) {
    std::mt19937_64 random(5);
    std::uniform_real_distribution<CGFloat> length(1, 5000);
    for (int i = 0; i < 20'000; ++i) {
        const CGSize size{length(random), length(random)};
        _layer->setBounds({{0, 0}, size});
        _layer->setTransform(CATransform3DMakeScale(length(random), 0.3, 1));
        const CGSize framed = _layer->frame().size;
        _layer->setFrame({{0, 0}, {framed.width, framed.height * 2}});
        ASSERT_TRUE(areSameBits({_layer->bounds().size.width, 0}, {size.width, 0}));
    }
}

TEST_F(CALayerTest, SettingTheFrameUnderAScaleDividesByIt) {
    _layer->setTransform(CATransform3DMakeScale(2, -0.5, 1));
    _layer->setFrame({{10, 20}, {30, 40}});
    EXPECT_EQ(_layer->bounds().size, CGSizeMake(15, 80));
    EXPECT_EQ(_layer->frame(), (CGRect{{10, 20}, {30, 40}}));
}

TEST_F(CALayerTest, AScaleOfZeroNeverDivides) {
    _layer->setFrame({{10, 20}, {30, 40}});
    _layer->setTransform(CATransform3DMakeScale(0, 0, 1));
    EXPECT_EQ(_layer->frame().size, CGSizeMake(0, 0));
    _layer->setFrame({{1, 2}, {300, 400}});
    EXPECT_EQ(_layer->bounds().size, CGSizeMake(30, 40));
    EXPECT_EQ(_layer->position(), CGPointMake(1, 2));
    _layer->setTransform(CATransform3DMakeScale(0, 2, 1));
    _layer->setFrame({{1, 2}, {300, 400}});
    EXPECT_EQ(_layer->bounds().size, CGSizeMake(30, 200));
}

TEST_F(CALayerTest, ATransformThatSqueezesTheLayerKeepsItsBounds) {
    _layer->setFrame({{10, 20}, {30, 40}});
    CATransform3D line = CATransform3DIdentity;
    line.m12 = line.m21 = 1;
    _layer->setTransform(line);
    _layer->setFrame({{0, 0}, {7, 9}});
    EXPECT_EQ(_layer->bounds().size, CGSizeMake(30, 40));
}

TEST_F(CALayerTest, ATinyScaleKeepsTheBoundsFinite) {
    _layer->setFrame({{10, 20}, {30, 40}});
    _layer->setTransform(CATransform3DMakeScale(1e-310, 1e-310, 1));
    _layer->setFrame({{0, 0}, {300, 400}});
    EXPECT_EQ(_layer->bounds().size, CGSizeMake(30, 40));
}

TEST_F(CALayerTest, TakesNumbersThatAreNone) {
    for (const CGFloat odd : {kNaN, kInfinity, -kInfinity}) {
        CATransform3D t = CATransform3DMakeRotation(odd, 0, 0, 1);
        _layer->setTransform(t);
        _layer->setFrame({{odd, odd}, {odd, odd}});
        _layer->frame();
        _layer->setTransform(CATransform3DMakeScale(odd, odd, odd));
        _layer->setFrame({{0, odd}, {10, odd}});
        _layer->frame();
        t = CATransform3DIdentity;
        t.m14 = odd;
        _layer->setTransform(t);
        _layer->setPosition({odd, odd});
        _layer->setAnchorPoint({odd, odd});
        _layer->setBounds({{odd, odd}, {odd, odd}});
        _layer->frame();
        EXPECT_GE(_layer->bounds().size.width, 0);
        EXPECT_GE(_layer->bounds().size.height, 0);
    }
    _layer->setTransform(CATransform3DIdentity);
    _layer->setAnchorPoint({0.5, 0.5});
    _layer->setFrame({{1, 2}, {3, 4}});
    EXPECT_EQ(_layer->frame(), (CGRect{{1, 2}, {3, 4}}));
}

TEST_F(CALayerTest, AnInfiniteSideLeavesTheOtherOneAlone) {
    _layer->setBounds({{0, 0}, {10, kInfinity}});
    EXPECT_EQ(_layer->frame().size, CGSizeMake(10, kInfinity));
}

TEST_F(CALayerTest, APointBehindTheViewerDoesNotDivideByZero) {
    CATransform3D t = CATransform3DIdentity;
    t.m44 = 0;
    _layer->setFrame({{0, 0}, {10, 10}});
    _layer->setTransform(t);
    EXPECT_TRUE(std::isfinite(_layer->frame().size.width));
}

TEST_F(CALayerTreeTest, KeepsSublayersBackToFront) {
    ASSERT_EQ(_layer->sublayers().size(), 2u);
    EXPECT_EQ(_layer->sublayers()[0], _child);
    EXPECT_EQ(_layer->sublayers()[1], _sibling);
    EXPECT_EQ(_child->superlayer(), _layer.get());
}

TEST_F(CALayerTreeTest, ASublayerThatIsAddedAgainComesToTheFront) {
    _layer->addSublayer(_child.get());
    ASSERT_EQ(_layer->sublayers().size(), 2u);
    EXPECT_EQ(_layer->sublayers()[1], _child);
    EXPECT_EQ(_child->retainCount(), 2u);
}

TEST_F(CALayerTreeTest, ASublayerMovesFromOneSuperlayerToAnother) {
    _sibling->addSublayer(_grandchild.get());
    EXPECT_TRUE(_child->sublayers().empty());
    EXPECT_EQ(_grandchild->superlayer(), _sibling.get());
    EXPECT_EQ(_grandchild->retainCount(), 2u);
}

TEST_F(CALayerTreeTest, RefusesNullItselfAndItsSuperlayers) {
    _grandchild->addSublayer(nullptr);
    _grandchild->addSublayer(_grandchild.get());
    _grandchild->addSublayer(_layer.get());
    _grandchild->addSublayer(_child.get());
    EXPECT_TRUE(_grandchild->sublayers().empty());
    EXPECT_EQ(_child->superlayer(), _layer.get());
    EXPECT_FALSE(_layer->needsComposite());
}

TEST_F(CALayerTreeTest, LeavesItsSuperlayer) {
    _child->removeFromSuperlayer();
    _child->removeFromSuperlayer();
    EXPECT_EQ(_child->superlayer(), nullptr);
    EXPECT_EQ(_layer->sublayers().size(), 1u);
    EXPECT_EQ(_child->retainCount(), 1u);
}

TEST_F(CALayerTreeTest, LeavesItsSublayersBehindWhenItDies) {
    _child->removeFromSuperlayer();
    _child = nullptr;
    EXPECT_EQ(_grandchild->superlayer(), nullptr);
    EXPECT_EQ(_grandchild->retainCount(), 1u);
}

TEST_F(CALayerTest, NeedsCompositingAtFirst) {
    EXPECT_TRUE(_layer->needsComposite());
    _layer->didComposite();
    EXPECT_FALSE(_layer->needsComposite());
}

TEST_F(CALayerTreeTest, AChangeMarksEverythingAboveIt) {
    _grandchild->setPosition({1, 1});
    EXPECT_TRUE(_grandchild->needsComposite());
    EXPECT_TRUE(_child->needsComposite());
    EXPECT_TRUE(_layer->needsComposite());
    EXPECT_FALSE(_sibling->needsComposite());
}

TEST_F(CALayerTreeTest, CompositingClearsTheMarksOfTheWholeTree) {
    _grandchild->setPosition({1, 1});
    _sibling->setHidden(true);
    _layer->didComposite();
    for (const auto &layer : {_layer, _child, _sibling, _grandchild}) {
        EXPECT_FALSE(layer->needsComposite());
    }
    _grandchild->setPosition({2, 2});
    EXPECT_TRUE(_layer->needsComposite());
}

TEST_F(CALayerTreeTest, EveryPropertyMarksTheTree) {
    const std::vector<std::function<void(CALayer &)>> changes{
        [](CALayer &layer) {
            layer.setPosition({1, 0});
        },
        [](CALayer &layer) {
            layer.setBounds({{0, 0}, {1, 1}});
        },
        [](CALayer &layer) {
            layer.setAnchorPoint({0, 0});
        },
        [](CALayer &layer) { layer.setTransform(CATransform3DMakeScale(2, 2, 1)); },
        [](CALayer &layer) { layer.setSublayerTransform(CATransform3DMakeScale(2, 2, 1)); },
        [](CALayer &layer) { layer.setOpacity(0.5F); },
        [](CALayer &layer) { layer.setHidden(true); },
        [](CALayer &layer) { layer.setMasksToBounds(true); },
        [](CALayer &layer) {
            layer.setBackgroundColor({1, 0, 0, 1});
        },
        [](CALayer &layer) { layer.setContentsScale(2); },
        [](CALayer &layer) { layer.setContentsGravity(ContentsGravity::Center); },
        [](CALayer &layer) {
            layer.setFrame({{5, 5}, {2, 2}});
        },
        [](CALayer &layer) { layer.addSublayer(makeRetained<CALayer>().get()); },
        [](CALayer &layer) { layer.removeFromSuperlayer(); },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        _layer->didComposite();
        changes[i](*_sibling);
        EXPECT_TRUE(_layer->needsComposite()) << "change " << i;
    }
}

TEST_F(CALayerTreeTest, WritingTheSameAgainMarksNothing) {
    _child->setPosition(_child->position());
    _child->setBounds(_child->bounds());
    _child->setFrame(_child->frame());
    _child->setTransform(_child->transform());
    _child->setOpacity(_child->opacity());
    _child->setContents(nullptr);
    EXPECT_FALSE(_layer->needsComposite());
}

TEST_F(CALayerTreeTest, AMarkedLayerMarksTheTreeThatItJoins) {
    const auto fresh = makeRetained<CALayer>();
    _grandchild->addSublayer(fresh.get());
    EXPECT_TRUE(_layer->needsComposite());
    _layer->didComposite();
    EXPECT_FALSE(fresh->needsComposite());
    fresh->setOpacity(0);
    EXPECT_TRUE(_layer->needsComposite());
}

TEST_F(CALayerTest, DiesOnTheMainThreadWhoeverDropsIt) {
    const auto child = makeRetained<CALayer>();
    _layer->addSublayer(child.get());
    NSThread::detachNewThread(nullptr, [&] {
        _layer = nullptr;
        EXPECT_NE(child->superlayer(), nullptr) << "the main thread has not come to it";
    });
    runForSeconds(1);
    EXPECT_EQ(child->superlayer(), nullptr);
    EXPECT_EQ(child->retainCount(), 1u);
}
