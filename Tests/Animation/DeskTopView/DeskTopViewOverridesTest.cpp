#include "Animation/DeskTopView/DeskTopView.h"

#include "Tests/Animation/Support/Pictures.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <utility>

// A subclass's override is called whoever calls the function.

namespace {

using testing::ElementsAre;

/// Records each call and passes it on.
class CallsView final : public DeskTopView {
  public:
    explicit CallsView(std::vector<std::string> &calls)
        : DeskTopView(CGRectMake(10, 20, 320, 480)), _calls(calls) {}

    void setFrame(const CGRect &frame) override {
        note("setFrame", frame.origin.x, frame.origin.y, frame.size.width, frame.size.height, "of",
             scale());
        DeskTopView::setFrame(frame);
    }

    void delayLoading() override {
        note("delayLoading");
        DeskTopView::delayLoading();
    }

    void setScale(CGFloat scale) override {
        note("setScale", scale, bool(bgView()->image()));
        DeskTopView::setScale(scale);
    }

    bool isAnimating() const override {
        note("isAnimating");
        return DeskTopView::isAnimating();
    }

    void startAnimating() override {
        note("startAnimating");
        DeskTopView::startAnimating();
    }

    void pauseAnimating() override {
        note("pauseAnimating");
        DeskTopView::pauseAnimating();
    }

    void resumeAnimating() override {
        note("resumeAnimating");
        DeskTopView::resumeAnimating();
    }

    void stopAnimating() override {
        note("stopAnimating", superview() != nullptr);
        DeskTopView::stopAnimating();
    }

    void doAnimating() override { note("doAnimating"); }
    void scrollingDidFinish(CGFloat position) override { note("scrollingDidFinish", position); }
    void tapActionAtViewPoint(CGPoint point) override { note("tap", point.x, point.y); }
    void gestureAction_atPoint(std::int32_t code, CGPoint point) override {
        note("gesture", code, point.x, point.y);
    }
    void openSettingMenu() override { note("openSettingMenu"); }

  private:
    template <class... Arguments> void note(const char *name, Arguments... arguments) const {
        std::ostringstream text;
        text << name;
        ((text << ' ' << arguments), ...);
        _calls.push_back(text.str());
    }

    std::vector<std::string> &_calls;
};

class DeskTopViewOverrides : public SimulatedTimeTest {
  protected:
    std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

    LogRecorder log;
    std::vector<std::string> calls;
    Retained<CallsView> view = makeRetained<CallsView>(calls);
};

TEST_F(DeskTopViewOverrides, AreWhatAHostReachesThroughTheInterface) {
    DeskTopViewInterface &wallpaper = *view;
    EXPECT_FALSE(wallpaper.isAnimating());
    wallpaper.startAnimating();
    EXPECT_TRUE(wallpaper.isAnimating());
    EXPECT_THAT(takeCalls(), ElementsAre("isAnimating", "startAnimating", "isAnimating"));
    wallpaper.doAnimating();
    wallpaper.scrollingDidFinish(1.5);
    wallpaper.tapActionAtViewPoint({2, 3});
    wallpaper.gestureAction_atPoint(-4, {5, 6});
    wallpaper.openSettingMenu();
    EXPECT_THAT(takeCalls(), ElementsAre("doAnimating", "scrollingDidFinish 1.5", "tap 2 3",
                                         "gesture -4 5 6", "openSettingMenu"));
    wallpaper.stopAnimating();
    EXPECT_FALSE(view->DeskTopView::isAnimating());
    wallpaper.resumeAnimating();
    wallpaper.pauseAnimating();
    EXPECT_THAT(takeCalls(), ElementsAre("stopAnimating 0", "resumeAnimating", "startAnimating",
                                         "pauseAnimating", "stopAnimating 0"));
}

TEST_F(DeskTopViewOverrides, OfTheFrameTakeTheSizeOfANewScale) {
    view->setScale(0.5);
    EXPECT_THAT(takeCalls(), ElementsAre("setScale 0.5 0", "setFrame 10 20 160 240 of 1"))
        << "the scale is set last";
    EXPECT_EQ(view->scale(), 0.5);
}

TEST_F(DeskTopViewOverrides, OfTheScaleAreCalledWithANewBackgroundInPlace) {
    view->setScale(0.5);
    takeCalls();
    view->setBackgroundImage(pictureOfSize(8, 6));
    EXPECT_THAT(takeCalls(), ElementsAre("setScale 0.5 1", "setFrame 10 20 160 240 of 0.5"));
}

TEST_F(DeskTopViewOverrides, OfStoppingAreCalledBeforeTheViewLeavesItsSuperview) {
    const auto parent = UIView::initWithFrame(CGRectMake(0, 0, 320, 480));
    parent->addSubview(view.get());
    view->removeFromSuperview();
    EXPECT_THAT(takeCalls(), ElementsAre("stopAnimating 1"));
    EXPECT_EQ(view->superview(), nullptr);
}

TEST_F(DeskTopViewOverrides, OfLoadingAreCalledHalfASecondLaterAndMakeNoFrame) {
    runForSeconds(5);
    EXPECT_THAT(takeCalls(), ElementsAre("delayLoading"));
}

TEST_F(DeskTopViewOverrides, OfStoppingAreNotCalledByADeath) {
    runForSeconds(1);
    takeCalls();
    view = nullptr;
    EXPECT_THAT(takeCalls(), ElementsAre());
}

} // namespace
