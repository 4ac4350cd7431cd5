#include "Wallpapers/Fireflies/FirefliesView.h"

#include "Animation/Common/ImageCache.h"
#include "Platform/UIKit/UIScreen.h"
#include "Tests/Animation/Support/AllocationCounter.h"
#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

namespace {

/// A meadow of 320 × 480 points, in simulated time; the tests make the frames themselves.
class FirefliesViewTest : public SimulatedTimeTest {
  protected:
    static constexpr CGRect kFrame = CGRectMake(0, 0, 320, 480);

    FirefliesViewTest() {
        UIScreen::setMainScreen(makeRetained<UIScreen>(kFrame, 1));
        _bundle.addPicture("background.png", 32, 48);
        _bundle.addPicture("firefly_near.png", 92, 92);
        _bundle.addPicture("firefly_middle.png", 56, 56);
        _bundle.addPicture("firefly_far.png", 30, 30);
        _bundle.addPicture("stalk1.png", 40, 200);
        _bundle.addPicture("stalk2.png", 40, 200);
    }

    void TearDown() override {
        _view = nullptr;
        SimulatedTimeTest::TearDown();
        ImageCache::sharedInstance()->setResBundle(nullptr);
        UIScreen::setMainScreen(nullptr);
    }

    /// A view that has had its first frame, in which it is seeded, without fireflies yet.
    void load(unsigned seed = 1) {
        make();
        const NSUInteger count = _view->fireflyCount();
        _view->setFireflyCount(0);
        const auto seedAndStop = [this, seed] {
            if (_view->isAnimating()) {
                std::srand(seed);
                _view->stopAnimating();
            }
        };
        NSRunLoop::mainRunLoop().setObservers(seedAndStop, nullptr);
        runForSeconds(0.6);
        NSRunLoop::mainRunLoop().setObservers(nullptr, nullptr);
        ASSERT_EQ(_view->operationQueue().operationCount(), 0u);
        ASSERT_EQ(_view->subviewCount(), 1 + FirefliesView::kDepths + 1);
        _view->setFireflyCount(count);
    }

    void make() {
        ImageCache::sharedInstance()->setResBundle(_bundle.open());
        _view = makeRetained<FirefliesView>(kFrame);
    }

    void runFrames(int count) {
        for (int i = 0; i < count; ++i) {
            _view->doAnimating();
        }
    }

    FirefliesView &view() { return *_view; }
    const WallpaperBundle &bundle() const { return _bundle; }

    /// Places and lights of all fireflies.
    std::vector<double> state() {
        std::vector<double> numbers;
        for (const auto &firefly : _view->fireflies()) {
            numbers.insert(numbers.end(),
                           {firefly->center().x, firefly->center().y, firefly->light()});
        }
        return numbers;
    }

    bool areAllInside() {
        const CGRect area = _view->bounds();
        return std::all_of(
            _view->fireflies().begin(), _view->fireflies().end(),
            [&area](const auto &firefly) { return CGRectContainsPoint(area, firefly->center()); });
    }

    /// How many fireflies are that near to the point.
    int countNear(CGPoint point, double radius) {
        return static_cast<int>(std::count_if(
            _view->fireflies().begin(), _view->fireflies().end(), [&](const auto &firefly) {
                const CGPoint place = firefly->center();
                return std::hypot(place.x - point.x, place.y - point.y) < radius;
            }));
    }

  private:
    LogRecorder _log;
    WallpaperBundle _bundle;
    Retained<FirefliesView> _view;
};

TEST_F(FirefliesViewTest, MakesTheFirefliesThatItsDescriptionAsksFor) {
    bundle().describe("<key>sakura Count</key><integer>7</integer>"
                      "<key>falling Speed</key><integer>3</integer>");
    load();
    runFrames(1);
    EXPECT_EQ(view().fireflies().size(), 7u);
    EXPECT_EQ(view().speedLevel(), 3);
}

TEST_F(FirefliesViewTest, LimitsWhatItsDescriptionAsksFor) {
    bundle().describe("<key>sakura Count</key><integer>100000</integer>"
                      "<key>falling Speed</key><integer>-2</integer>");
    make();
    EXPECT_EQ(view().fireflyCount(), FirefliesView::kMaxCount);
    EXPECT_EQ(view().speedLevel(), 0);
    bundle().describe("<key>sakura Count</key><integer>-1</integer>");
    make();
    EXPECT_EQ(view().fireflyCount(), 1u);
    runForSeconds(0.6);
}

TEST_F(FirefliesViewTest, RepeatsForASeed) {
    std::vector<double> runs[3];
    for (int i = 0; i < 3; ++i) {
        load(i < 2 ? 7 : 8);
        runFrames(200);
        view().tapActionAtViewPoint({160, 330});
        runFrames(200);
        runs[i] = state();
    }
    EXPECT_EQ(runs[0], runs[1]);
    EXPECT_NE(runs[0], runs[2]);
}

TEST_F(FirefliesViewTest, LetsEveryFireflyFlashAndGoDarkAgain) {
    load();
    std::vector<bool> wasLit(view().fireflyCount()), wasDark(view().fireflyCount());
    for (int i = 0; i < 600; ++i) {
        runFrames(1);
        for (std::size_t j = 0; j < wasLit.size(); ++j) {
            const Firefly &firefly = *view().fireflies()[j];
            wasLit[j] = wasLit[j] || firefly.light() > 0.95;
            wasDark[j] = wasDark[j] || firefly.isHidden();
            EXPECT_EQ(firefly.isHidden(), firefly.light() == 0);
        }
    }
    EXPECT_EQ(std::count(wasLit.begin(), wasLit.end(), false), 0);
    EXPECT_EQ(std::count(wasDark.begin(), wasDark.end(), false), 0);
}

TEST_F(FirefliesViewTest, KeepsThemInsideWhenTheViewChangesItsSize) {
    load();
    runFrames(50);
    for (const CGSize size : {CGSizeMake(1920, 1080), CGSizeMake(30, 20), CGSizeMake(480, 320)}) {
        view().setFrame({{0, 0}, size});
        runFrames(1);
        EXPECT_TRUE(areAllInside()) << size.width;
        runFrames(200);
        EXPECT_TRUE(areAllInside()) << size.width;
    }
}

TEST_F(FirefliesViewTest, FillsTheViewAtEveryScale) {
    load();
    runFrames(1);
    view().setScale(0.5);
    view().setFrame(kFrame);
    runFrames(1);
    EXPECT_EQ(view().bounds().size, CGSizeMake(640, 960));
    EXPECT_GT(countNear({480, 720}, 320), 0);
}

TEST_F(FirefliesViewTest, OutlastsAViewWithoutArea) {
    load();
    view().setFrame(CGRectMake(0, 0, 0, 0));
    runFrames(3);
    view().setFrame(kFrame);
    runFrames(3);
    EXPECT_TRUE(areAllInside());
}

TEST_F(FirefliesViewTest, GathersThoseThatAreNearATap) {
    load();
    runFrames(20);
    const CGPoint tap{160, 330};
    const int before = countNear(tap, 60);
    const int called = countNear(tap, 140);
    view().tapActionAtViewPoint(tap);
    runFrames(110);
    EXPECT_GT(called, before);
    EXPECT_GE(countNear(tap, 60) * 10, called * 9);
    for (const auto &firefly : view().fireflies()) {
        EXPECT_TRUE(!firefly->isCalled() || firefly->light() > 0.5);
    }
}

TEST_F(FirefliesViewTest, ScattersThemWithASecondTap) {
    load();
    runFrames(20);
    const CGPoint tap{160, 330};
    view().tapActionAtViewPoint(tap);
    runFrames(110);
    const int gathered = countNear(tap, 50);
    view().tapActionAtViewPoint({165, 330});
    runFrames(40);
    EXPECT_LT(countNear(tap, 50), gathered / 2);
}

TEST_F(FirefliesViewTest, LetsThemLeaveByThemselves) {
    load();
    runFrames(20);
    view().tapActionAtViewPoint({160, 330});
    runFrames(225);
    for (const auto &firefly : view().fireflies()) {
        EXPECT_FALSE(firefly->isCalled());
    }
}

TEST_F(FirefliesViewTest, HearsOnlyTapsInsideTheClipRectangle) {
    load();
    runFrames(20);
    view().setTapClipRect(CGRectMake(0, 0, 10, 10));
    view().tapActionAtViewPoint({160, 330});
    view().gestureAction_atPoint(2, {160, 330});
    const auto isCalled = [](const auto &firefly) { return firefly->isCalled(); };
    EXPECT_TRUE(std::none_of(view().fireflies().begin(), view().fireflies().end(), isCalled));
}

TEST_F(FirefliesViewTest, TakesTheTapGestureForATap) {
    load();
    runFrames(20);
    const auto isCalled = [](const auto &firefly) { return firefly->isCalled(); };
    view().gestureAction_atPoint(1, {160, 330});
    EXPECT_TRUE(std::none_of(view().fireflies().begin(), view().fireflies().end(), isCalled));
    view().gestureAction_atPoint(2, {160, 330});
    EXPECT_TRUE(std::any_of(view().fireflies().begin(), view().fireflies().end(), isCalled));
}

TEST_F(FirefliesViewTest, ListensToTapsBeforeItHasFireflies) {
    load();
    view().tapActionAtViewPoint({160, 330});
    runFrames(1);
    EXPECT_TRUE(areAllInside());
}

TEST_F(FirefliesViewTest, FollowsTheWantedCount) {
    load();
    for (const NSUInteger count : {5u, 80u, 0u, 12u}) {
        view().setFireflyCount(count);
        runFrames(1);
        EXPECT_EQ(view().fireflies().size(), count);
        NSUInteger shown = 0;
        for (NSUInteger i = 0; i < FirefliesView::kDepths; ++i) {
            shown += view().subviewAtIndex(1 + i)->subviewCount();
        }
        EXPECT_EQ(shown, count);
    }
}

TEST_F(FirefliesViewTest, FliesFasterAtAHigherLevel) {
    const auto distance = [this](NSInteger level) {
        load();
        view().setSpeedLevel(level);
        runFrames(1);
        const std::vector<double> from = state();
        runFrames(60);
        const std::vector<double> to = state();
        double sum = 0;
        for (std::size_t i = 0; i < from.size(); i += 3) {
            sum += std::hypot(to[i] - from[i], to[i + 1] - from[i + 1]);
        }
        return sum;
    };
    EXPECT_LT(distance(1) * 1.5, distance(3));
    EXPECT_EQ(distance(0), distance(2));
    EXPECT_EQ(distance(12), distance(std::numeric_limits<NSInteger>::max()));
}

TEST_F(FirefliesViewTest, MovesAlongWithTheDesktop) {
    load();
    runFrames(1);
    const std::vector<double> before = state();
    view().setOffset(30);
    runFrames(1);
    const std::vector<double> after = state();
    double mean = 0;
    for (std::size_t i = 0; i < before.size(); i += 3) {
        const double moved = after[i] - before[i];
        mean += moved < 0 ? moved + 320 : moved;
    }
    mean /= static_cast<double>(before.size()) / 3;
    EXPECT_GT(mean, 5);
    for (const double offset : {1e300, -1e300, 0.0}) {
        view().setOffset(offset);
        runFrames(1);
        EXPECT_TRUE(areAllInside()) << offset;
    }
}

TEST_F(FirefliesViewTest, AllocatesNothingInAFrame) {
    load();
    runFrames(400);
    const std::size_t before = AllocationCounter::totalBlocks();
    runFrames(400);
    EXPECT_EQ(AllocationCounter::totalBlocks(), before);
}

TEST_F(FirefliesViewTest, NeedsNoPicture) {
    bundle().folder().write("firefly_near.png", "no picture");
    bundle().folder().write("stalk1.png", "no picture");
    load();
    runFrames(10);
    EXPECT_TRUE(areAllInside());
}

TEST_F(FirefliesViewTest, StandsStillBeforeItsResourcesAreLoaded) {
    make();
    view().doAnimating();
    EXPECT_TRUE(view().fireflies().empty());
    runForSeconds(0.6);
    EXPECT_FALSE(view().fireflies().empty());
    view().pauseAnimating();
    runForSeconds(0.1);
    const std::vector<double> before = state();
    runForSeconds(1);
    EXPECT_EQ(state(), before);
    view().resumeAnimating();
    runForSeconds(1);
    EXPECT_NE(state(), before);
}

} // namespace
