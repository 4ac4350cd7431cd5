#include "Host/Commands/Gallery/GalleryShow.h"

#include "Tests/Host/Playing/FakeWindow.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using namespace Lumivera;

namespace {

/// The gallery in a fake window, without a chime.
class GalleryShowTest : public SimulatedTimeTest {
  protected:
    void TearDown() override {
        _show.reset();
        SimulatedTimeTest::TearDown();
    }

    /// Runs the gallery and performs the actions at their times.
    void show(double seconds, const std::vector<std::pair<double, std::function<void()>>> &events) {
        _show.emplace(_window, _pictures, GalleryShow::Options{0, seconds, "/no/such/chime.wav"});
        for (const auto &[time, event] : events) {
            loop().performSelector_afterDelay(nullptr, "event", event, time);
        }
        _show->run();
    }

    void press(WindowKey key) { _window.listener().keyPressed(key); }

    GalleryPictures _pictures{shippedBundle("Lumivera.bundle")};
    FakeWindow _window{{400, 300}, 1};
    std::optional<GalleryShow> _show;
};

TEST_F(GalleryShowTest, ShowsAFrameEverySixtiethOfASecond) {
    int presents = 0;
    show(2, {{1, [this] { _window.forgetPresents(); }},
             {1.99, [&] { presents = _window.presents(); }}});
    EXPECT_GE(presents, 58);
    EXPECT_LE(presents, 75);
}

TEST_F(GalleryShowTest, StandsStillWhilePausedAndThenBeginsAnew) {
    std::vector<std::uint32_t> atFirst, held;
    int presents = 0;
    show(6, {{0.3, [&] { atFirst = _window.pixels(); }},
             {1, [this] { press(WindowKey::Pause); }},
             {1.1,
              [&] {
                  held = _window.pixels();
                  _window.forgetPresents();
              }},
             {4,
              [&] {
                  presents = _window.presents();
                  EXPECT_TRUE(_window.pixels() == held);
                  press(WindowKey::Pause);
              }},
             {4.3 + 0.001, [&] { EXPECT_TRUE(_window.pixels() != held); }}});
    EXPECT_EQ(presents, 0);
    EXPECT_FALSE(atFirst.empty());
}

TEST_F(GalleryShowTest, DrawsNothingWhileNobodyCanSeeIt) {
    int presents = -1;
    show(4, {{1, [this] { _window.setVisible(false); }},
             {1.1, [this] { _window.forgetPresents(); }},
             {3, [&] {
                  presents = _window.presents();
                  _window.setVisible(true);
              }}});
    EXPECT_EQ(presents, 0);
    EXPECT_GT(_window.presents(), 50);
}

TEST_F(GalleryShowTest, BeginsTheExhibitUnderATapAnew) {
    std::vector<std::uint32_t> untouched, tapped;
    show(0.5, {{0.49, [&] { untouched = _window.pixels(); }}});
    show(0.5, {{0.2,
                [this] {
                    _window.listener().tapped({50, 60});
                }},
               {0.49, [&] { tapped = _window.pixels(); }}});
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

TEST_F(GalleryShowTest, FillsTheWindowAtEverySize) {
    show(4, {{1,
              [this] {
                  _window.resize({150, 500});
              }},
             {2, [this] { EXPECT_EQ(_show->gallery().grid().columns(), 2u); }},
             {2.1,
              [this] {
                  _window.resize({1, 1});
              }},
             {3,
              [this] {
                  _window.resize({1600, 100});
              }},
             {3.5, [this] { EXPECT_EQ(_show->gallery().grid().rows(), 1u); }}});
    EXPECT_EQ(_window.pixels().size(), 160'000u);
}

TEST_F(GalleryShowTest, EndsAfterTheSecondsAndWithTheKeyToQuit) {
    show(1.5, {});
    EXPECT_DOUBLE_EQ(elapsed(), 1.5);
    show(5, {{0.25, [this] { press(WindowKey::Quit); }}});
    EXPECT_DOUBLE_EQ(elapsed(), 1.75);
}

} // namespace
