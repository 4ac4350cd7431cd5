#include "Animation/Common/UIView+LWUIAnimation.h"

#include "Platform/UIKit/UIColor.h"
#include "Tests/Platform/Compositor/CompositorTesting.h"
#include "Tests/Support/SimulatedTime.h"

#include <algorithm>
#include <cmath>
#include <numbers>

// Compares pictures of animated views with pictures of still views that look as the animated ones
// should.

namespace {

constexpr std::size_t kSide = 160;
using std::numbers::pi;

/// A view with a picture, and a smaller view in it.
Retained<UIView> makeView() {
    auto view = UIView::initWithFrame({{30, 40}, {80, 60}});
    const auto wave = [](double x) { return static_cast<unsigned>(127.5 + 127.5 * std::sin(x)); };
    view->layer()->setContents(makeImage(80, 60, [&](auto x, auto y) {
        return premultiplied(255, wave(0.1 * x), wave(0.15 * y), wave(0.05 * (x + y)));
    }));
    const auto subview = UIView::initWithFrame({{10, 5}, {60, 50}});
    subview->layer()->setBackgroundColor({1, 0.5, 0, 1});
    view->addSubview(subview.get());
    return view;
}

Canvas drawn(UIView &view) {
    const auto root = makeFilled(0, 0, kSide, kSide, {0.2, 0.4, 0.6, 1});
    root->addSublayer(view.layer());
    return Canvas(kSide, kSide).draw(*root);
}

/// The largest difference of a channel of a pixel.
int difference(const Canvas &first, const Canvas &second) {
    int largest = 0;
    for (std::size_t i = 0; i < kSide * kSide; ++i) {
        for (int shift = 0; shift < 32; shift += 8) {
            const auto a = static_cast<int>(first.at(i % kSide, i / kSide) >> shift & 255);
            const auto b = static_cast<int>(second.at(i % kSide, i / kSide) >> shift & 255);
            largest = std::max(largest, std::abs(a - b));
        }
    }
    return largest;
}

void turn(UIView &view, double degrees) {
    view.layer()->setTransform(CATransform3DMakeRotation(degrees * pi / 180, 0, 0, 1));
}

/// An operation, a time, how far it is then, and how the view looks then.
struct Operation {
    const char *name;
    void (*start)(UIView *view);
    void (*set)(UIView &view, double progress);
    std::vector<std::pair<double, double>> progressAt;
    void (*setAfterwards)(UIView &view);
};

const std::vector<std::pair<double, double>> kThereAndBack = {{0, 0}, {0.25, 0.25}, {0.75, 0.75},
                                                              {1, 1}, {1.25, 0.75}, {1.75, 0.25}};
const std::vector<std::pair<double, double>> kThere = {
    {0, 0}, {0.25, 0.25}, {0.5, 0.5}, {0.75, 0.75}};

void standStill(UIView &) {}

const Operation kOperations[] = {
    {"translation",
     [](UIView *view) {
         LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(view, {110, 100}, 1,
                                                                                0, true);
     },
     [](UIView &view, double p) {
         view.setCenter({70 + 40 * p, 70 + 30 * p});
     },
     kThereAndBack,
     [](UIView &view) {
         view.setCenter({110, 100});
     }},
    {"scale",
     [](UIView *view) { LWUIAnimation::setScaleAnimation_duration_repeatCount(view, 1.5, 1, 0); },
     [](UIView &view, double p) {
         view.layer()->setTransform(CATransform3DMakeScale(1 + p / 2, 1 + p / 2, 1));
     },
     kThereAndBack, standStill},
    {"rock",
     [](UIView *view) {
         LWUIAnimation::setRockAnimationStartAngle_endAngle_duration_repeatCount(view, -20, 40, 1,
                                                                                 0);
     },
     [](UIView &view, double p) { turn(view, -20 + 60 * p); }, kThereAndBack, standStill},
    {"rotation",
     [](UIView *view) {
         LWUIAnimation::setRotationAnimation_angle_duration_repeatCount(view, {0, 0}, 180, 1, 0);
     },
     [](UIView &view, double p) { turn(view, -180 * p); }, kThere, standStill},
    {"perspective",
     [](UIView *view) { LWUIAnimation::setPerspectiveEffectAnimation_duration(view, true, 1); },
     [](UIView &view, double p) {
         CATransform3D t = CATransform3DIdentity;
         t.m34 = -0.002;
         view.layer()->setSublayerTransform(CATransform3DRotate(t, p * pi / 4, 1, 0, 0));
     },
     kThere,
     [](UIView &view) {
         CATransform3D t = CATransform3DIdentity;
         t.m34 = -0.002;
         view.layer()->setSublayerTransform(CATransform3DRotate(t, pi / 4, 1, 0, 0));
     }},
    {"alpha",
     [](UIView *view) { LWUIAnimation::setAlphaAnimationDuration_repeatCount(view, 1, 0); },
     [](UIView &view, double p) { view.layer()->setOpacity(static_cast<float>(1 - p)); },
     kThereAndBack, standStill},
};

class LWUIAnimationPictures : public SimulatedTimeTest,
                              public testing::WithParamInterface<Operation> {};

std::string nameOf(const testing::TestParamInfo<Operation> &info) { return info.param.name; }

} // namespace

TEST_P(LWUIAnimationPictures, AreThoseOfAViewThatStandsAsItShouldThen) {
    const Operation &operation = GetParam();
    const auto view = makeView();
    // A call-out ends, so that the set-up is not grouped with the animation.
    loop().performSelectorOnMainThread(
        nullptr, [] {}, false);
    runForSeconds(0);
    const double start = elapsed();
    operation.start(view.get());
    for (const auto &[time, progress] : operation.progressAt) {
        runForSeconds(start + time - elapsed());
        const auto still = makeView();
        operation.set(*still, progress);
        EXPECT_LE(difference(drawn(*view), drawn(*still)), 1) << time;
        EXPECT_TRUE(progress == 0 || difference(drawn(*view), drawn(*makeView())) > 30) << time;
    }
    runForSeconds(1);
    const auto still = makeView();
    operation.setAfterwards(*still);
    EXPECT_LE(difference(drawn(*view), drawn(*still)), 1);
    EXPECT_FALSE(view->layer()->hasAnimations());
}

INSTANTIATE_TEST_SUITE_P(LWUIAnimation, LWUIAnimationPictures, testing::ValuesIn(kOperations),
                         nameOf);
