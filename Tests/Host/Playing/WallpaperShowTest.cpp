#include "Host/Playing/WallpaperShow.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Displays/PointerGestures.h"
#include "Host/Playing/TraceWriter.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/UIKit/UIScreen.h"
#include "Tests/Animation/Support/SakuraProbe.h"
#include "Tests/Host/Playing/FakeWindow.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <sstream>

using namespace Lumivera;

namespace {

constexpr CGSize kSize{100, 150};

/// An action, and how many seconds after the previous one it happens.
struct Step {
    double delay;
    std::function<void()> action;
};

/// Shows a wallpaper in a fake window. A view loads after 0.5 s and then makes a frame every 25
/// ms.
class WallpaperShowTest : public SimulatedTimeTest {
  protected:
    void TearDown() override {
        _show.reset();
        SimulatedTimeTest::TearDown();
        UIScreen::setMainScreen(nullptr);
    }

    void openTiny() { open(testBundle(_folder.path(), "TinyWallpaper")); }
    void openPetals() { open(shippedBundle("Lumivera.bundle")); }

    void open(const std::string &path, CGFloat density = 1) {
        _bundle.emplace(path);
        _window.emplace(kSize, density);
        _show.emplace(*_window, *_bundle, _options);
    }

    /// Runs the show until the last step is done, or until it ends by itself.
    void show(std::vector<Step> steps) {
        _steps = std::move(steps);
        _next = 0;
        scheduleNext();
        _show->run();
    }

    void scheduleNext() {
        if (_next == _steps.size()) {
            if (!_options.seconds) {
                loop().stop();
            }
            return;
        }
        const auto act = [this] {
            _steps[_next++].action();
            scheduleNext();
        };
        loop().performSelector_afterDelay(nullptr, "step", act, _steps[_next].delay);
    }

    DeskTopView &view() { return _show->view(); }
    LumiveraView &petals() { return dynamic_cast<LumiveraView &>(view()); }
    void press(WindowKey key) { _window->listener().keyPressed(key); }
    NSUInteger loops() { return view().operationQueue().operationCount(); }
    std::function<void()> pressing(WindowKey key) {
        return [this, key] { press(key); };
    }

    /// How many frames the tiny wallpaper has made: it moves its offset by one point a frame.
    int frames() { return static_cast<int>(view().offset()); }

    Sakura &petal(NSUInteger layer, NSUInteger index) {
        return dynamic_cast<Sakura &>(*view().subviewAtIndex(1 + layer)->subviewAtIndex(index));
    }

    void trace() {
        _writer.emplace(_folder.pathOf("trace"), TraceWriter::Mode::Live);
        _options.frameEnded = [this](NSTimeInterval time, const DeskTopView &view) {
            _writer->writeFrame(time, view);
        };
    }

    std::vector<nlohmann::json> traceLines() const {
        std::istringstream text(contentsOf(_folder.pathOf("trace")));
        std::vector<nlohmann::json> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(nlohmann::json::parse(line));
        }
        return lines;
    }

    LogRecorder _log;
    TemporaryFolder _folder;
    WallpaperShow::Options _options;
    std::optional<WallpaperBundle> _bundle;
    std::optional<FakeWindow> _window;
    std::optional<WallpaperShow> _show;
    std::optional<TraceWriter> _writer;

  private:
    std::vector<Step> _steps;
    std::size_t _next = 0;
};

TEST_F(WallpaperShowTest, EndsAfterTheSeconds) {
    _options.seconds = 1.26;
    openTiny();
    show({});
    EXPECT_DOUBLE_EQ(elapsed(), 1.26);
    EXPECT_EQ(frames(), 31);
}

TEST_F(WallpaperShowTest, EndsWithTheKeyToQuit) {
    _options.seconds = 10;
    openTiny();
    show({{1, pressing(WindowKey::Quit)}});
    EXPECT_DOUBLE_EQ(elapsed(), 1);
}

TEST_F(WallpaperShowTest, EndsWhenTheWindowIsClosed) {
    _options.seconds = 10;
    openTiny();
    show({{1, [this] { _window->listener().windowClosed(); }}});
    EXPECT_DOUBLE_EQ(elapsed(), 1);
}

TEST_F(WallpaperShowTest, PresentsAPictureAFrame) {
    openPetals();
    show({{0.9, [this] { _window->forgetPresents(); }}, {1, [] {}}});
    EXPECT_EQ(_window->presents(), 40);
    EXPECT_EQ(_window->emptyPresents(), 0);
}

TEST_F(WallpaperShowTest, FillsThePixelsOfADenseWindow) {
    open(shippedBundle("Lumivera.bundle"), 2);
    show({{0.9, [this] { _window->forgetPresents(); }}, {0.1, [] {}}});
    EXPECT_EQ(_window->pixels().size(), 200u * 300u);
    EXPECT_EQ(_window->emptyPresents(), 0);
}

TEST_F(WallpaperShowTest, PausesAndGoesOnWithTheKey) {
    int paused = 0;
    openTiny();
    show({{1.01, pressing(WindowKey::Pause)},
          {0.5,
           [&] {
               paused = frames();
               EXPECT_EQ(loops(), 0u);
           }},
          {0.5,
           [&] {
               EXPECT_EQ(frames(), paused);
               press(WindowKey::Pause);
           }},
          {1.01, [] {}}});
    EXPECT_EQ(paused, 21);
    EXPECT_NEAR(frames(), paused + 41, 1);
}

TEST_F(WallpaperShowTest, StaysPausedWhenItIsHiddenAndShownMeanwhile) {
    int paused = 0;
    openTiny();
    show({{1.01, pressing(WindowKey::Pause)},
          {0.1, [&] { paused = frames(); }},
          {0.1, [this] { _window->setVisible(false); }},
          {0.1, [this] { _window->setVisible(true); }},
          {0.5, [] {}}});
    EXPECT_EQ(frames(), paused);
}

TEST_F(WallpaperShowTest, ShowsMoreAndFewerPetalsWithTheKeys) {
    openPetals();
    NSUInteger before = 0;
    NSUInteger more = 0;
    show({{1,
           [&] {
               before = petals().sakuraCount();
               press(WindowKey::MorePetals);
               more = petals().sakuraCount();
           }},
          {0.1, pressing(WindowKey::FewerPetals)},
          {0.1, pressing(WindowKey::FewerPetals)}});
    EXPECT_EQ(more, before + 10);
    EXPECT_EQ(petals().sakuraCount(), before - 10);
}

TEST_F(WallpaperShowTest, KeepsThePetalsWithinTheirLimits) {
    _options.settings.petals = 5;
    openPetals();
    show({{1,
           [&] {
               press(WindowKey::FewerPetals);
               EXPECT_EQ(petals().sakuraCount(), 1u);
               petals().setSakuraCount(kMaxPetals - 5);
               press(WindowKey::MorePetals);
               EXPECT_EQ(petals().sakuraCount(), kMaxPetals);
               petals().setSakuraCount(5);
           }},
          {0.1, [] {}}});
}

TEST_F(WallpaperShowTest, ChangesTheSpeedWithTheKeysAndNotBelowNought) {
    openTiny();
    show({{1, [&] {
               press(WindowKey::Up);
               press(WindowKey::Up);
               EXPECT_EQ(view().speedLevel(), 2);
               press(WindowKey::Down);
               EXPECT_EQ(view().speedLevel(), 1);
               press(WindowKey::Down);
               press(WindowKey::Down);
               EXPECT_EQ(view().speedLevel(), 0);
           }}});
}

TEST_F(WallpaperShowTest, TogglesTheFullScreenWithTheKey) {
    openTiny();
    show({{1, pressing(WindowKey::FullScreen)}});
    EXPECT_EQ(_window->fullScreenToggles(), 1);
}

TEST_F(WallpaperShowTest, PutsScreenshotsIntoThePicturesFolder) {
    const std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
    const std::string folder = _folder.makeFolder("Pictures");
    setenv("HOME", _folder.path().c_str(), 1);
    setenv("XDG_CONFIG_HOME", _folder.path().c_str(), 1);
    open(shippedBundle("Lumivera.bundle"), 2);
    show({{1, pressing(WindowKey::Screenshot)}, {0, pressing(WindowKey::Screenshot)}});
    setenv("HOME", home.c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string bytes = contentsOf(entry.path().string());
        const auto image = CGImageCreateWithData(
            {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
        ASSERT_TRUE(image);
        EXPECT_EQ(image->width(), 200u);
        EXPECT_EQ(image->height(), 300u);
        ++count;
    }
    EXPECT_EQ(count, 2);
}

TEST_F(WallpaperShowTest, MovesTheOffsetByDragsAndTellsWhereTheyEnded) {
    openTiny();
    PointerGestures pointer;
    show({{1.01, pressing(WindowKey::Pause)}, {0.1, [&] {
                                                   view().setOffset(0);
                                                   pointer.pressed({50, 50});
                                                   pointer.moved({70, 50}, _window->listener());
                                                   EXPECT_EQ(view().offset(), 20);
                                                   pointer.released({65, 50}, _window->listener());
                                                   EXPECT_EQ(view().offset(), 15);
                                                   EXPECT_EQ(view().tapClipRect().origin.x, 15);
                                               }}});
}

TEST_F(WallpaperShowTest, MovesTheOffsetByTheWheelNoFurtherThanAScreen) {
    openTiny();
    show({{1, [&] {
               _window->listener().scrolledBy(-60);
               _window->listener().scrollingEnded();
               EXPECT_EQ(view().offset(), -60);
               EXPECT_EQ(view().tapClipRect().origin.x, -60);
               _window->listener().scrolledBy(-60);
               EXPECT_EQ(view().offset(), -kSize.width);
           }}});
}

TEST_F(WallpaperShowTest, GivesTapsInTheCoordinatesOfAScaledView) {
    _options.settings.scale = 0.5;
    open(testBundle(_folder.path(), "TinyWallpaper"), 2);
    show({{1, [&] { _window->listener().tapped({30, 40}); }}});
    EXPECT_EQ(view().speedLevel(), 60);
}

TEST_F(WallpaperShowTest, PushesThePetalThatIsTappedInAScaledView) {
    _options.settings.scale = 0.5;
    open(shippedBundle("Lumivera.bundle"), 2);
    show({{1, [&] {
               Sakura &target = petal(2, 0);
               target.setCenter({150, 200});
               ASSERT_EQ(SakuraProbe(target).changedSpeed(), CppVector2D{});
               _window->listener().tapped({80, 100});
               EXPECT_LT(SakuraProbe(target).changedSpeed().x, 0);
               EXPECT_EQ(SakuraProbe(target).changedSpeed().y, 0);
           }}});
}

TEST_F(WallpaperShowTest, LeavesNothingPendingWhileItIsHidden) {
    int hidden = 0;
    openTiny();
    show({{1.01, [this] { _window->setVisible(false); }},
          {0.1,
           [&] {
               hidden = frames();
               EXPECT_EQ(loops(), 0u);
               EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
               _window->forgetPresents();
           }},
          {10, [&] {
               EXPECT_EQ(frames(), hidden);
               EXPECT_EQ(_window->presents(), 0);
           }}});
}

TEST_F(WallpaperShowTest, GoesOnWithOneLoopWhenItIsShownAgain) {
    int shown = 0;
    openTiny();
    show({{1.01, [this] { _window->setVisible(false); }},
          {1, [this] { _window->setVisible(true); }},
          {0.05,
           [&] {
               EXPECT_EQ(loops(), 1u);
               shown = frames();
           }},
          {1, [] {}}});
    EXPECT_EQ(frames(), shown + 40);
}

TEST_F(WallpaperShowTest, RunsOneLoopAfterAPauseThatEndsAtOnce) {
    int before = 0;
    openTiny();
    show({{1.01,
           [this] {
               press(WindowKey::Pause);
               press(WindowKey::Pause);
           }},
          {0.1,
           [&] {
               EXPECT_EQ(loops(), 1u);
               before = frames();
           }},
          {1, [] {}}});
    EXPECT_EQ(frames(), before + 40);
}

TEST_F(WallpaperShowTest, GivesANewSizeAFreshViewOnceItHasSettled) {
    openTiny();
    Retained<DeskTopView> old;
    show({{1.01,
           [&] {
               press(WindowKey::Up);
               old = Retained<DeskTopView>(&view());
               _window->resize({80, 120});
           }},
          {0.2,
           [this] {
               _window->resize({200, 90});
           }},
          {0.7,
           [&] {
               EXPECT_EQ(&view(), old.get());
               EXPECT_EQ(view().frame().size, CGSizeMake(200, 90));
           }},
          {0.1, [] {}}});
    EXPECT_NE(&view(), old.get());
    EXPECT_EQ(view().frame(), CGRectMake(0, 0, 200, 90));
    EXPECT_EQ(view().speedLevel(), 1);
    EXPECT_EQ(loops(), 1u);
    EXPECT_EQ(old->operationQueue().operationCount(), 0u);
    EXPECT_FALSE(old->superview());
}

TEST_F(WallpaperShowTest, KeepsThePetalCountAndAlwaysAPictureWhileTheSizeChanges) {
    openPetals();
    Retained<DeskTopView> old;
    NSUInteger count = 0;
    show({{1.01,
           [&] {
               press(WindowKey::MorePetals);
               count = petals().sakuraCount();
               old = Retained<DeskTopView>(&view());
               _window->forgetPresents();
               _window->resize({200, 90});
           }},
          {1.5, [] {}}});
    EXPECT_NE(&view(), old.get());
    EXPECT_EQ(petals().sakuraCount(), count);
    EXPECT_GT(_window->presents(), 55);
    EXPECT_EQ(_window->emptyPresents(), 0);
}

TEST_F(WallpaperShowTest, ShowsThePictureAgainAtOnceAfterAResizeWhileItIsPaused) {
    openPetals();
    show({{1.01, pressing(WindowKey::Pause)},
          {0.1, [this] { _window->forgetPresents(); }},
          {0.1,
           [this] {
               _window->resize({200, 90});
           }},
          {0, [this] { EXPECT_GT(_window->presents(), 0); }},
          {1.5, [] {}}});
    EXPECT_EQ(_window->pixels().size(), 200u * 90u);
    EXPECT_EQ(_window->emptyPresents(), 0);
    EXPECT_FALSE(view().isAnimating());
}

TEST_F(WallpaperShowTest, TracesALineAFrame) {
    trace();
    openTiny();
    std::vector<Step> steps{{1.01,
                             [this] {
                                 _window->listener().tapped({1, 1});
                             }},
                            {0.1, [this] { _window->listener().windowNeedsPicture(); }},
                            {0.1, [this] { _window->setVisible(false); }},
                            {1, [this] { _window->setVisible(true); }},
                            {0.1, pressing(WindowKey::Pause)},
                            {0.1, pressing(WindowKey::Pause)},
                            {0.5, [] {}}};
    show(std::move(steps));
    const auto lines = traceLines();
    EXPECT_EQ(static_cast<int>(lines.size()), frames());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i]["frame"], i);
    }
}

TEST_F(WallpaperShowTest, TracesNoLineForACheckOfTheSwitch) {
    trace();
    openTiny();
    std::vector<Step> steps{{1.012, pressing(WindowKey::Pause)}, {0, pressing(WindowKey::Pause)}};
    for (int i = 0; i < 60; ++i) {
        steps.push_back({0.0007, [] {}});
    }
    show(std::move(steps));
    EXPECT_EQ(static_cast<int>(traceLines().size()), frames());
}

TEST_F(WallpaperShowTest, TracesALineAFrameWhileTheSizeChanges) {
    trace();
    openTiny();
    Retained<DeskTopView> old;
    show({{1.01,
           [&] {
               old = Retained<DeskTopView>(&view());
               _window->resize({200, 90});
           }},
          {1.5, [] {}}});
    ASSERT_NE(&view(), old.get());
    // A view that is loaded again gets the previous offset after its first frame.
    const int allFrames = static_cast<int>(old->offset()) + 1 + frames();
    EXPECT_EQ(static_cast<int>(traceLines().size()), allFrames);
}

TEST_F(WallpaperShowTest, TracesNothingOfAStillWallpaper) {
    trace();
    open(testBundle(_folder.path(), "StillWallpaper"));
    show({{1, [this] { _window->listener().tapped({1, 1}); }}, {1, [] {}}});
    EXPECT_TRUE(traceLines().empty());
}

} // namespace
