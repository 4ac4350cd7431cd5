#include "Platform/QuartzCore/CAAnimation.h"
#include "Platform/QuartzCore/CABasicAnimation.h"
#include "Tests/Platform/Compositor/CompositorTesting.h"
#include "Tests/Platform/Compositor/ReferenceRenderer.h"
#include "Tests/Support/SimulatedTime.h"

#include <algorithm>
#include <cmath>
#include <limits>

// The picture of layers while animations run, and when another picture is asked for.

namespace {

constexpr int kSide = 96;
constexpr double kPi = 3.14159265358979323846;

Retained<CGImage> makeWaves() {
    const auto wave = [](double x) { return static_cast<unsigned>(127.5 + 127.5 * std::sin(x)); };
    return makeImage(40, 30, [&](auto x, auto y) {
        return premultiplied(255, wave(0.2 * x), wave(0.3 * y), wave(0.1 * (x + y)));
    });
}

/// A picture with a smaller one in it, before a plain background.
struct Scene {
    Retained<CALayer> root = makeFilled(0, 0, kSide, kSide, {0.2, 0.4, 0.6, 1});
    Retained<CALayer> layer = makePictureLayer(24, 30, makeWaves());

    Scene() {
        layer->setTransform(CATransform3DMakeRotation(0.2, 0, 0, 1));
        layer->addSublayer(makeFilled(25, 12, 20, 11, {1, 0.5, 0, 1}).get());
        root->addSublayer(layer.get());
    }
};

/// An animation, and the layer as the formula alone says that it is at a time.
struct Motion {
    const char *keyPath;
    AnimationValue from;
    AnimationValue to;
    void (*set)(CALayer &layer, double progress);
};

CATransform3D turned(double angle) { return CATransform3DMakeRotation(angle, 0, 0, 1); }

CATransform3D moved(const CATransform3D &t, double x, double y) {
    return CATransform3DConcat(t, CATransform3DMakeTranslation(x, y, 0));
}

const Motion kMotions[] = {
    {"position", CGPoint{40, 40}, CGPoint{60, 72},
     [](CALayer &layer, double p) {
         layer.setPosition({40 + 20 * p, 40 + 32 * p});
     }},
    {"bounds", CGRectMake(0, 0, 20, 40), CGRectMake(4, 8, 50, 20),
     [](CALayer &layer, double p) {
         layer.setBounds(CGRectMake(4 * p, 8 * p, 20 + 30 * p, 40 - 20 * p));
     }},
    {"opacity", 1.0F, 0.0F,
     [](CALayer &layer, double p) { layer.setOpacity(static_cast<float>(1 - p)); }},
    {"transform", CATransform3DMakeScale(0.5, 1, 1), CATransform3DMakeScale(1.5, 0.5, 1),
     [](CALayer &layer, double p) {
         layer.setTransform(CATransform3DMakeScale(0.5 + p, 1 - 0.5 * p, 1));
     }},
    {"sublayerTransform", CATransform3DIdentity, CATransform3DMakeTranslation(-20, 10, 0),
     [](CALayer &layer, double p) {
         layer.setSublayerTransform(CATransform3DMakeTranslation(-20 * p, 10 * p, 0));
     }},
    {"transform.translation", CGPoint{-10, 0}, CGPoint{20, 8},
     [](CALayer &layer, double p) { layer.setTransform(moved(turned(0.2), -10 + 30 * p, 8 * p)); }},
    {"transform.scale", 0.5, 1.5,
     [](CALayer &layer, double p) {
         layer.setTransform(CATransform3DScale(turned(0.2), 0.5 + p, 0.5 + p, 1));
     }},
    {"transform.rotation.z", -0.5F, 0.75F,
     [](CALayer &layer, double p) { layer.setTransform(turned(-0.5 + 1.25 * p)); }},
    {"transform.rotation", 0.0, -kPi,
     [](CALayer &layer, double p) { layer.setTransform(turned(-kPi * p)); }},
};

Retained<CABasicAnimation> make(const char *keyPath, const AnimationValue &from,
                                const AnimationValue &to) {
    auto animation = CABasicAnimation::animationWithKeyPath(keyPath);
    animation->setFromValue(from);
    animation->setToValue(to);
    animation->setDuration(1);
    return animation;
}

class AnimatedLayers : public SimulatedTimeTest {
  protected:
    void add(const Retained<CAAnimation> &animation, const char *key = "key") const {
        scene.layer->addAnimation_forKey(animation.get(), key);
    }

    void addFade(double repeatCount = 1) const {
        const auto fade = make("opacity", 0.0, 1.0);
        fade->setRepeatCount(static_cast<float>(repeatCount));
        add(fade);
    }

    Canvas &draw() { return canvas.draw(compositor, *scene.root); }

    bool asksForAnotherPicture() {
        draw();
        return compositor.isAnimationInProgress();
    }

    bool asksForAnotherPictureAfter(double seconds) {
        runForSeconds(seconds);
        return asksForAnotherPicture();
    }

    /// Compares with a scene without animations whose values come from the formulas.
    void expectLike(const Scene &still) {
        draw();
        const auto expected = ReferenceRenderer(kSide, kSide, 1).render(*still.root);
        double largest = 0;
        for (std::size_t i = 0; i < kSide * kSide; ++i) {
            for (int channel = 0; channel < 4; ++channel) {
                const double actual = canvas.at(i % kSide, i / kSide) >> 8 * channel & 255;
                largest = std::max(largest, std::abs(actual - std::round(expected[i][channel])));
            }
        }
        EXPECT_LE(largest, 2);
    }

    Scene scene;
    SoftwareCompositor compositor;
    Canvas canvas{kSide, kSide};
};

} // namespace

TEST_F(AnimatedLayers, AreSeenWhereTheirAnimationsTakeThem) {
    for (const Motion &motion : kMotions) {
        const auto animation = make(motion.keyPath, motion.from, motion.to);
        animation->setAutoreverses(true);
        animation->setRepeatCount(2);
        add(animation);
        const std::pair<double, double> steps[] = {
            {0, 0}, {0.25, 0.25}, {0.5, 0.75}, {0.25, 1}, {0.25, 0.75}, {1.75, 1}, {0.75, 0.25}};
        for (const auto &[seconds, progress] : steps) {
            SCOPED_TRACE(std::string(motion.keyPath) + ' ' + std::to_string(progress));
            runForSeconds(seconds);
            Scene still;
            motion.set(*still.layer, progress);
            expectLike(still);
        }
        runForSeconds(0.25);
        expectLike(Scene());
    }
}

TEST_F(AnimatedLayers, AreSeenAsTheyAreWhenTheAnimationIsRemoved) {
    for (const Motion &motion : kMotions) {
        add(make(motion.keyPath, motion.from, motion.to));
        runForSeconds(0.5);
        draw();
        scene.layer->removeAllAnimations();
        EXPECT_TRUE(scene.root->needsComposite()) << motion.keyPath;
        SCOPED_TRACE(motion.keyPath);
        expectLike(Scene());
    }
}

TEST_F(AnimatedLayers, ShowAllTheirAnimationsAtOnce) {
    const auto group = CAAnimationGroup::animation();
    group->setDuration(1);
    group->setAnimations({make("transform.scale", 0.5, 1.5), make("opacity", 1.0, 0.0)});
    add(group);
    add(make("transform.rotation", 0.0, 1.0), "turn");
    add(make("transform.translation", CGPoint{-10, 0}, CGPoint{20, 8}), "move");
    runForSeconds(0.25);
    Scene still;
    still.layer->setTransform(moved(CATransform3DScale(turned(0.25), 0.75, 0.75, 1), -10 + 7.5, 2));
    still.layer->setOpacity(0.75F);
    expectLike(still);
}

TEST_F(AnimatedLayers, CutTheirSublayersOffAtTheBoundsThatAreSeen) {
    scene.layer->setMasksToBounds(true);
    add(make("bounds", CGRectMake(0, 0, 40, 30), CGRectMake(0, 0, 24, 10)));
    runForSeconds(0.5);
    Scene still;
    still.layer->setMasksToBounds(true);
    still.layer->setBounds(CGRectMake(0, 0, 32, 20));
    expectLike(still);
}

TEST_F(AnimatedLayers, RepaintOnlyWhatChangesAndLookAsIfDrawnAnew) {
    const char *const keys[] = {"1", "2", "3"};
    std::mt19937 random(5);
    draw();
    for (int frame = 0; frame < 200; ++frame) {
        if (frame % 7 == 0) {
            const Motion &motion = kMotions[random() % std::size(kMotions)];
            add(make(motion.keyPath, motion.from, motion.to), keys[random() % 3]);
        }
        runForSeconds(1.0 / 16);
        canvas.drawOver(1, compositor, *scene.root);
        ASSERT_EQ(canvas, Canvas(kSide, kSide).draw(*scene.root)) << frame;
    }
}

TEST_F(AnimatedLayers, LeaveTheRestOfThePictureAlone) {
    add(make("opacity", 0.0, 1.0));
    draw();
    runForSeconds(0.5);
    const auto &changed = canvas.drawOver(1, compositor, *scene.root);
    ASSERT_FALSE(changed.empty());
    long long area = 0;
    for (const DeviceRect &rect : changed) {
        area += rect.area();
    }
    EXPECT_LT(area, kSide * kSide);
    runForSeconds(0.5);
    canvas.drawOver(1, compositor, *scene.root);
    EXPECT_TRUE(canvas.drawOver(1, compositor, *scene.root).empty());
}

TEST_F(AnimatedLayers, AskForNothingWhenTheyStandStill) {
    EXPECT_FALSE(asksForAnotherPicture());
    scene.layer->setPosition({1, 2});
    EXPECT_FALSE(asksForAnotherPicture());
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

TEST_F(AnimatedLayers, AskForPicturesAsLongAsAnAnimationRuns) {
    addFade(2);
    EXPECT_TRUE(asksForAnotherPicture());
    EXPECT_TRUE(asksForAnotherPictureAfter(1));
    EXPECT_TRUE(asksForAnotherPictureAfter(1 - 1.0 / 512));
    EXPECT_FALSE(asksForAnotherPictureAfter(1.0 / 512));
}

TEST_F(AnimatedLayers, AskForPicturesWhileAnAnimationShowsNothingYet) {
    add(make("opacity", 0.0, 0.0));
    EXPECT_TRUE(asksForAnotherPicture());
    EXPECT_EQ(canvas,
              Canvas(kSide, kSide).draw(*makeFilled(0, 0, kSide, kSide, {0.2, 0.4, 0.6, 1})));
}

TEST_F(AnimatedLayers, AskForNothingOnceTheAnimationIsRemoved) {
    addFade();
    EXPECT_TRUE(asksForAnotherPicture());
    scene.layer->removeAllAnimations();
    EXPECT_FALSE(asksForAnotherPicture());
}

TEST_F(AnimatedLayers, AskForNothingForAnAnimationThatIsOverAndStays) {
    const auto fade = make("opacity", 0.0, 1.0);
    fade->setRemovedOnCompletion(false);
    add(fade);
    EXPECT_TRUE(asksForAnotherPicture());
    EXPECT_FALSE(asksForAnotherPictureAfter(1));
    EXPECT_TRUE(scene.layer->hasAnimations());
}

TEST_F(AnimatedLayers, AskForNothingUntilAnAnimationBeginsAndAreDrawnThen) {
    const auto fade = make("opacity", 0.0, 1.0);
    fade->setBeginTime(CACurrentMediaTime() + 2);
    add(fade);
    EXPECT_FALSE(asksForAnotherPicture());
    runForSeconds(2);
    EXPECT_TRUE(scene.root->needsComposite());
    EXPECT_TRUE(asksForAnotherPicture());
}

TEST_F(AnimatedLayers, AskForNothingWhileTheyCannotBeSeen) {
    addFade(std::numeric_limits<float>::infinity());
    scene.layer->setHidden(true);
    EXPECT_FALSE(asksForAnotherPicture());
    scene.layer->setHidden(false);
    EXPECT_TRUE(asksForAnotherPicture());
    scene.layer->removeFromSuperlayer();
    EXPECT_FALSE(asksForAnotherPicture());
    scene.layer->removeAllAnimations();
}

TEST_F(AnimatedLayers, AskForPicturesFromDeepInsideTheTree) {
    const Retained<CALayer> deep = scene.layer->sublayers().front();
    deep->addAnimation_forKey(make("position", CGPoint{0, 0}, CGPoint{9, 9}).get(), "key");
    EXPECT_TRUE(asksForAnotherPictureAfter(0.5));
    EXPECT_FALSE(asksForAnotherPictureAfter(0.5));
}

TEST_F(AnimatedLayers, AskForNothingOnceThePictureIsForgotten) {
    addFade();
    EXPECT_TRUE(asksForAnotherPicture());
    compositor.purge();
    EXPECT_FALSE(compositor.isAnimationInProgress());
}
