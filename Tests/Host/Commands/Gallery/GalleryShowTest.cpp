#include "Host/Commands/Gallery/GalleryShow.h"

#include "Tests/Host/Playing/FakeDisplay.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using namespace Lumivera;

namespace {

/// The gallery on a fake display, without a chime.
class GalleryShowTest : public SimulatedTimeTest {
  protected:
    void TearDown() override {
        _show.reset();
        SimulatedTimeTest::TearDown();
    }

    /// Runs the gallery and performs the actions at their times.
    void show(double seconds, const std::vector<std::pair<double, std::function<void()>>> &events) {
        _show.emplace(_display, _pictures, GalleryShow::Options{0, seconds, "/no/such/chime.wav"});
        for (const auto &[time, event] : events) {
            loop().performSelector_afterDelay(nullptr, "event", event, time);
        }
        _show->run();
    }

    void press(DisplayKey key) { _display.listener().keyPressed(key); }

    GalleryPictures _pictures{shippedBundle("Lumivera.bundle")};
    FakeDisplay _display{{400, 300}, 1};
    std::optional<GalleryShow> _show;
};

TEST_F(GalleryShowTest, ShowsAFrameEverySixtiethOfASecond) {
    int presents = 0;
    show(2, {{1, [this] { _display.forgetPresents(); }},
             {1.99, [&] { presents = _display.presents(); }}});
    EXPECT_GE(presents, 58);
    EXPECT_LE(presents, 75);
}

TEST_F(GalleryShowTest, StandsStillWhilePausedAndThenBeginsAnew) {
    std::vector<std::uint32_t> atFirst, held;
    int presents = 0;
    show(6, {{0.3, [&] { atFirst = _display.pixels(); }},
             {1, [this] { press(DisplayKey::Pause); }},
             {1.1,
              [&] {
                  held = _display.pixels();
                  _display.forgetPresents();
              }},
             {4,
              [&] {
                  presents = _display.presents();
                  EXPECT_TRUE(_display.pixels() == held);
                  press(DisplayKey::Pause);
              }},
             {4.3 + 0.001, [&] { EXPECT_TRUE(_display.pixels() != held); }}});
    EXPECT_EQ(presents, 0);
    EXPECT_FALSE(atFirst.empty());
}

TEST_F(GalleryShowTest, DrawsNothingWhileNobodyCanSeeIt) {
    int presents = -1;
    show(4, {{1, [this] { _display.setVisible(false); }},
             {1.1, [this] { _display.forgetPresents(); }},
             {3, [&] {
                  presents = _display.presents();
                  _display.setVisible(true);
              }}});
    EXPECT_EQ(presents, 0);
    EXPECT_GT(_display.presents(), 50);
}

TEST_F(GalleryShowTest, BeginsTheExhibitUnderATapAnew) {
    std::vector<std::uint32_t> untouched, tapped;
    show(0.5, {{0.49, [&] { untouched = _display.pixels(); }}});
    show(0.5, {{0.2,
                [this] {
                    _display.listener().tapped({50, 60});
                }},
               {0.49, [&] { tapped = _display.pixels(); }}});
    const CGRect cell = _show->gallery().grid().cell(0);
    std::size_t inside = 0, outside = 0;
    for (std::size_t i = 0; i < untouched.size(); ++i) {
        const CGPoint point{static_cast<CGFloat>(i % 400), static_cast<CGFloat>(i / 400)};
        if (untouched[i] != tapped[i]) {
            ++(CGRectContainsPoint(cell, point) ? inside : outside);
        }
    }
    EXPECT_GT(inside, 50u);
    EXPECT_EQ(outside, 0u);
}

TEST_F(GalleryShowTest, FillsTheDisplayAtEverySize) {
    show(4, {{1,
              [this] {
                  _display.resize({150, 500});
              }},
             {2, [this] { EXPECT_EQ(_show->gallery().grid().columns(), 2u); }},
             {2.1,
              [this] {
                  _display.resize({1, 1});
              }},
             {3,
              [this] {
                  _display.resize({1600, 100});
              }},
             {3.5, [this] { EXPECT_EQ(_show->gallery().grid().rows(), 1u); }}});
    EXPECT_EQ(_display.pixels().size(), 160'000u);
}

TEST_F(GalleryShowTest, EndsAfterTheSecondsAndWithTheKeyToQuit) {
    show(1.5, {});
    EXPECT_DOUBLE_EQ(elapsed(), 1.5);
    show(5, {{0.25, [this] { press(DisplayKey::Quit); }}});
    EXPECT_DOUBLE_EQ(elapsed(), 1.75);
}

} // namespace
