#include "Host/Desktop/Isolation/RemoteShow.h"

#include "Host/Support/HostError.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Desktop/FakeViews.h"
#include "Tests/Host/Playing/FakeWindow.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>

using namespace Lumivera;
using ::testing::ElementsAre;

namespace {

constexpr const char *kBundle = "/bundle";
constexpr std::uint32_t kGreen = 0xff00ff00;
constexpr std::uint32_t kBlack = 0xff000000;
constexpr std::uint32_t kWhite = 0xffffffff;

/// A show in a fake window whose views paint everything green, and their frame's number into the
/// first pixel. They draw 0.6 s after they were made, and then every 25 ms.
class RemoteShowTest : public SimulatedTimeTest {
  protected:
    using Events = std::vector<std::pair<double, std::function<void()>>>;

    RemoteShowTest() {
        _views.behaviours[kBundle].ground = kGreen;
        _options.bundle = kBundle;
        _options.makeView = _views.maker();
    }

    void TearDown() override {
        _show.reset();
        SimulatedTimeTest::TearDown();
    }

    /// Runs the show and performs the actions at their times. It ends after that many seconds.
    void show(double seconds, const Events &events) {
        _show.emplace(_window, _options);
        for (const auto &[time, event] : events) {
            loop().performSelector_afterDelay(nullptr, "event", event, time);
        }
        loop().performSelector_afterDelay(
            nullptr, "event", [] { loop().stop(); }, seconds);
        try {
            _show->run();
        } catch (const HostError &error) {
            _failure = error.what();
        }
        loop().cancelPreviousPerformRequestsWithTarget(nullptr, "event");
    }

    FakeViews::View &view(std::size_t index = 0) { return *_views.views().at(index); }
    void press(WindowKey key) { _window.listener().keyPressed(key); }
    std::function<void()> pressing(WindowKey key) {
        return [this, key] { press(key); };
    }

    bool isAll(std::uint32_t pixel) const {
        return std::all_of(_window.pixels().begin() + 1, _window.pixels().end(),
                           [pixel](std::uint32_t other) { return other == pixel; });
    }

    FakeWindow _window{{80, 50}, 2};
    FakeViews _views;
    RemoteShow::Options _options;
    std::optional<RemoteShow> _show;
    std::string _failure;
};

TEST_F(RemoteShowTest, IsBlackBeforeTheFirstPictureAndThenShowsEachFrame) {
    show(1.5, {{0.5, [this] { EXPECT_TRUE(isAll(kBlack)); }},
               {0.9,
                [this] {
                    EXPECT_TRUE(isAll(kGreen));
                    _window.forgetPresents();
                }},
               {1.4, [this] { EXPECT_NEAR(_window.presents(), 20, 1); }}});
    EXPECT_EQ(_window.pixels()[0], static_cast<std::uint32_t>(view().frames()));
    EXPECT_EQ(view().request().memory->width(), 160U);
    EXPECT_EQ(view().request().memory->height(), 100U);
    EXPECT_EQ(_views.made().size(), 1U);
}

TEST_F(RemoteShowTest, EndsAfterTheSeconds) {
    _options.seconds = 1.26;
    show(5, {});
    EXPECT_DOUBLE_EQ(elapsed(), 1.26);
}

TEST_F(RemoteShowTest, PresentsAllAgainWhenTheWindowHasLostItsPicture) {
    show(2, {{1, pressing(WindowKey::Pause)},
             {1.5,
              [this] {
                  _window.forgetPresents();
                  _window.listener().windowNeedsPicture();
              }},
             {1.6, [this] { EXPECT_EQ(_window.presents(), 1); }}});
    EXPECT_TRUE(isAll(kGreen));
}

TEST_F(RemoteShowTest, StretchesThePictureUntilTheViewOfTheNewSizeHasDrawn) {
    show(3, {{1,
              [this] {
                  _window.resize({40, 70});
              }},
             {1.1,
              [this] {
                  _window.resize({60, 70});
              }},
             {1.3,
              [this] {
                  EXPECT_EQ(_views.made().size(), 1U) << "the size has not settled";
                  EXPECT_EQ(_window.pixels().size(), 120U * 140);
                  EXPECT_EQ(_window.pixels().back(), kGreen);
              }},
             {1.5, [this] {
                  ASSERT_EQ(_views.views().size(), 2U) << "the old one goes on";
                  EXPECT_EQ(view(1).request().memory->width(), 120U);
                  EXPECT_EQ(view(1).request().density, 2);
              }}});
    EXPECT_EQ(_views.views().size(), 1U);
    EXPECT_EQ(_views.made().size(), 2U);
    EXPECT_TRUE(isAll(kGreen));
}

TEST_F(RemoteShowTest, ChangesPetalsSpeedAndOffsetByKeysAndDragsForLaterViewsToo) {
    _options.bundleSpeed = 3;
    show(2, {{1,
              [this] {
                  press(WindowKey::MorePetals);
                  press(WindowKey::MorePetals);
                  press(WindowKey::FewerPetals);
                  press(WindowKey::Up);
                  _window.listener().scrolledBy(-60);
                  _window.listener().scrolledBy(-60);
                  _window.listener().scrollingEnded();
                  EXPECT_THAT(view().changes(), ElementsAre("petals=40", "petals=50", "petals=40",
                                                            "speed=4", "offset=-60", "offset=-80"));
                  EXPECT_EQ(view().scrollsFinished(), 1);
                  _window.resize({90, 50});
              }},
             {1.5, [this] {
                  const WallpaperValues values = view(1).request().values;
                  EXPECT_EQ(values.petals, 40U);
                  EXPECT_EQ(values.speed, 4);
                  EXPECT_EQ(values.offset, -80);
                  press(WindowKey::Down);
                  EXPECT_THAT(view(1).changes(), ElementsAre("speed=3"));
              }}});
}

TEST_F(RemoteShowTest, LeavesWallpapersWithoutPetalsAsTheyAre) {
    _views.behaviours[kBundle].petals = {};
    show(2, {{1, [this] {
                  press(WindowKey::MorePetals);
                  EXPECT_THAT(view().changes(), ElementsAre(""));
              }}});
}

TEST_F(RemoteShowTest, PassesTapsOn) {
    show(2, {{1, [this] { _window.listener().tapped({12, 34}); }}});
    EXPECT_EQ(view().taps(), std::vector<CGPoint>{CGPointMake(12, 34)});
}

TEST_F(RemoteShowTest, RestsWhilePausedAndWhileHidden) {
    show(5, {{1, pressing(WindowKey::Pause)},
             {1.1, [this] { EXPECT_FALSE(view().isRunning()); }},
             {1.2, [this] { _window.setVisible(false); }},
             {1.3, [this] { _window.setVisible(true); }},
             {1.4, [this] { EXPECT_FALSE(view().isRunning()); }},
             {1.5,
              [this] {
                  _window.resize({70, 70});
              }},
             {2.5,
              [this] {
                  EXPECT_EQ(_views.made().size(), 2U);
                  EXPECT_FALSE(view().isRunning());
                  EXPECT_LE(view().frames(), 2);
              }},
             {3, pressing(WindowKey::Pause)},
             {3.1, [this] { EXPECT_TRUE(view().isRunning()); }},
             {3.2, [this] { _window.setVisible(false); }},
             {3.3, [this] { EXPECT_FALSE(view().isRunning()); }}});
}

TEST_F(RemoteShowTest, EndsWithItsViewAndSaysWhy) {
    show(5, {{1, [this] { view().endNow(); }}});
    EXPECT_EQ(_failure, "/bundle: has ended as the test wanted");
    EXPECT_DOUBLE_EQ(elapsed(), 1);
}

TEST_F(RemoteShowTest, EndsWhenTheViewOfANewSizeCannotBeMade) {
    show(5, {{1, [this] {
                  _views.isOutOfProcesses = true;
                  _window.resize({70, 70});
              }}});
    EXPECT_EQ(_failure, "view: cannot be run");
}

/// A show that stays when its view ends.
class StayingShowTest : public RemoteShowTest {
  protected:
    StayingShowTest() {
        _options.drawWords = [this](const std::string &words, CGFloat width, CGFloat density) {
            EXPECT_EQ(width, _window.size().width - 16);
            EXPECT_EQ(density, 2);
            _drawnWords = words;
            const auto across = static_cast<NSUInteger>(width * density);
            return CGImage::imageWithPixels(across, 8, PixelBuffer(across * 8, kWhite));
        };
        _options.viewFailed = [this](const std::string &words) { _said.push_back(words); };
    }

    /// Counted in pixels from the left and from below, whose last row is 1.
    std::uint32_t pixelAt(std::size_t x, std::size_t fromBelow) const {
        return _window.pixels()[(100 - fromBelow) * 160 + x];
    }

    /// Whether the words, 8 pixels high, stand in the middle of their ground, and the picture above
    /// that is `above`.
    bool hasWordsBelow(std::uint32_t above) const {
        constexpr std::size_t kGround = 16 + 8 + 16;
        return pixelAt(80, kGround + 1) == above && pixelAt(80, kGround / 2) == kWhite &&
               pixelAt(1, kGround / 2) != kWhite && pixelAt(80, 1) != kWhite;
    }

    std::string _drawnWords;
    std::vector<std::string> _said;
};

TEST_F(StayingShowTest, SaysWhyItsViewHasEndedOverTheLastPicture) {
    show(4, {{1, [this] { view().endNow(); }},
             {1.4, [this] { EXPECT_TRUE(isAll(kGreen)) << "something better may come"; }},
             {1.6,
              [this] {
                  EXPECT_TRUE(hasWordsBelow(kGreen));
                  EXPECT_NE(pixelAt(80, 1), kGreen) << "the ground is dark";
                  press(WindowKey::MorePetals);
                  _window.listener().tapped({1, 1});
                  _window.listener().scrolledBy(3);
              }},
             {2, [this] { _show->reload(0); }},
             {2.5, [this] { EXPECT_TRUE(hasWordsBelow(kGreen)) << "until there is a picture"; }},
             {3, [this] { EXPECT_TRUE(isAll(kGreen)); }}});
    EXPECT_EQ(_failure, "");
    EXPECT_EQ(_drawnWords, "/bundle: has ended as the test wanted");
    EXPECT_THAT(_said, ElementsAre(_drawnWords));
    EXPECT_EQ(_views.made().size(), 2U);
}

TEST_F(StayingShowTest, SaysNothingInTheWindowWhenABetterViewComesSoon) {
    show(3, {{1, [this] { view().endNow(); }}, {1.3, [this] { _show->reload(0); }}});
    EXPECT_EQ(_drawnWords, "");
    EXPECT_THAT(_said, ::testing::IsEmpty());
    EXPECT_TRUE(isAll(kGreen));
}

TEST_F(StayingShowTest, KeepsTheOldViewUntilTheChangedOneHasDrawn) {
    show(3, {{1, [this] { _show->reload(0); }},
             {1.3, [this] { EXPECT_EQ(_views.views().size(), 2U); }},
             {1.8,
              [this] {
                  EXPECT_EQ(_views.views().size(), 1U);
                  _show->reload(0);
              }},
             {1.9, [this] { _show->reload(0); }},
             {2, [this] { EXPECT_EQ(_views.views().size(), 2U); }}});
    EXPECT_EQ(_views.made().size(), 4U);
    EXPECT_EQ(_views.views().size(), 1U);
}

TEST_F(StayingShowTest, GoesOnWithTheOldViewWhenTheChangedOneFails) {
    show(4, {{1,
              [this] {
                  _views.behaviours[kBundle].end = 0.1;
                  _show->reload(0);
              }},
             {2,
              [this] {
                  EXPECT_TRUE(hasWordsBelow(kGreen));
                  ASSERT_EQ(_views.views().size(), 1U);
                  view().setRunning(true);
                  _window.forgetPresents();
              }},
             {2.5, [this] { EXPECT_GT(_window.presents(), 10) << "it moves on"; }},
             {3, [this] {
                  _views.behaviours[kBundle].end.reset();
                  _show->reload(0);
              }}});
    EXPECT_TRUE(isAll(kGreen));
}

TEST_F(StayingShowTest, BeginsWithWordsWhereThereIsNoViewAtAll) {
    _views.isOutOfProcesses = true;
    show(2, {{1, [this] { EXPECT_TRUE(hasWordsBelow(kBlack)); }}, {1.1, [this] {
                                                                       _views.isOutOfProcesses =
                                                                           false;
                                                                       _show->reload(0);
                                                                   }}});
    EXPECT_EQ(_drawnWords, "view: cannot be run");
    EXPECT_TRUE(isAll(kGreen));
}

TEST_F(StayingShowTest, ShowsTheChangedBundleAfterASizeThatCameAndWent) {
    show(3, {{1, [this] {
                  _show->reload(0);
                  _window.resize({90, 50});
                  _window.resize({80, 50});
              }}});
    EXPECT_GE(_views.made().size(), 2U);
    ASSERT_EQ(_views.views().size(), 1U);
    EXPECT_LT(view().frames(), 60) << "it is not the first one";
}

TEST_F(RemoteShowTest, TracesTheVisibleViewAlone) {
    std::vector<std::string> entries;
    _options.frameEnded = [&](std::string_view entry) { entries.emplace_back(entry); };
    show(3, {{0.1, [this] { view().tellFrame("before its first picture"); }},
             {1,
              [this] {
                  _window.resize({70, 70});
              }},
             {1.5,
              [this] {
                  view(0).tellFrame("of the old view");
                  view(1).tellFrame("of the coming view");
              }},
             {2.5, [this] { view().tellFrame("of the new view"); }}});
    EXPECT_THAT(entries,
                ElementsAre("before its first picture", "of the old view", "of the new view"));
}

TEST_F(RemoteShowTest, EndsWhenTheTraceCannotBeWritten) {
    _options.frameEnded = [](std::string_view) { throw HostError("trace", "is full"); };
    show(3, {{1, [this] { view().tellFrame("first"); }}});
    EXPECT_EQ(_failure, "trace: is full");
}

TEST_F(RemoteShowTest, LetsSoundsBeHeard) {
    std::vector<std::string> names;
    _options.playSound = [&](const std::string &name) { names.push_back(name); };
    show(3, {{1, [this] { view().tellSound("splash.wav"); }}});
    EXPECT_THAT(names, ElementsAre("splash.wav"));
}

TEST_F(RemoteShowTest, PutsTheLastPictureIntoAScreenshot) {
    const TemporaryFolder folder;
    const std::string pictures = folder.makeFolder("Pictures");
    const EnvironmentVariable home("HOME", folder.path().c_str());
    const EnvironmentVariable configuration("XDG_CONFIG_HOME", folder.path().c_str());
    show(2, {{1, pressing(WindowKey::Screenshot)}});
    const auto entry = std::filesystem::directory_iterator(pictures);
    ASSERT_NE(entry, std::filesystem::directory_iterator());
    const std::string bytes = contentsOf(entry->path().string());
    const auto image =
        CGImageCreateWithData({reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 160U);
    EXPECT_EQ(image->height(), 100U);
    EXPECT_EQ(image->pixels()[160 * 100 - 1], kGreen);
}

} // namespace
