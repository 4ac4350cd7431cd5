#include "Tests/Host/Desktops/RealDesktopTest.h"

#include "Tests/Host/Programs/VirtualScreen.h"

#include <csignal>

// Wayland compositors without icons, each in a window that fills the screen.

using nlohmann::json;

namespace {

class NestedDesktopTest : public RealDesktopTest {
  protected:
    void SetUp() override {
        RealDesktopTest::SetUp();
        if (!HasFatalFailure() && !IsSkipped() && isPhosh()) {
            showWindowInPhosh();
        }
    }

    void TearDown() override {
        RealDesktopTest::TearDown();
        for (const pid_t terminal : _terminals) {
            desktop().session().signal(terminal, SIGTERM);
        }
    }

    bool isPhosh() const { return GetParam().name == "Phosh"; }
    bool isSway() const { return GetParam().name == "Sway"; }

    /// Phosh maximizes windows at first, and shows its overview while none is active. One small
    /// window stays open for all tests; a click on it also ends the overview.
    void showWindowInPhosh() {
        desktop().session().shell("gsettings set sm.puri.phoc auto-maximize false");
        if (desktop().session().processes("foot").empty()) {
            desktop().start({"foot", "--window-size-chars=50x20"});
        }
        ASSERT_TRUE(desktop().comesToRest());
        screen().click({screen().bounds().width / 2, screen().bounds().height * 3 / 10});
        ASSERT_TRUE(desktop().comesToRest());
    }

    void openTerminal(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "foot");
        _terminals.push_back(desktop().start(arguments));
    }

    void closeTerminal() {
        desktop().session().signal(_terminals.back(), SIGTERM);
        _terminals.pop_back();
    }

    /// Whether a terminal of that size lets the wallpaper rest until it is closed.
    void restsUnder(const std::string &size) {
        openTerminal({size});
        ASSERT_TRUE(outputBecomes(rests)) << size;
        EXPECT_TRUE(usesNoProcessor()) << size;
        photograph(size.substr(2));
        closeTerminal();
        ASSERT_TRUE(outputBecomes(runs)) << size;
        EXPECT_TRUE(showsPetals()) << size;
    }

  private:
    std::vector<pid_t> _terminals;
};

} // namespace

TEST_P(NestedDesktopTest, ShowsPetalsAndGivesEverythingBack) {
    const ScreenPicture before = screen().picture();
    startWallpaper();
    EXPECT_TRUE(showsPetals());
    photograph("running");
    const int tapsBefore = taps();
    screen().click(desktop().emptyPlace());
    EXPECT_TRUE(eventually([&] { return taps() > tapsBefore; }, 20));
    EXPECT_EQ(desktop().session().run({"lumivera", "doctor"}).status, 0);
    EXPECT_TRUE(quitWallpaper());
    const auto isBack = [&] {
        return screen().picture().sharedWith(before, screen().workArea()) > 0.99;
    };
    EXPECT_TRUE(eventually(isBack, patience()));
}

TEST_P(NestedDesktopTest, RestsUnderMaximizedAndFullScreenWindows) {
    startWallpaper();
    restsUnder("--maximized");
    restsUnder("--fullscreen");
}

TEST_P(NestedDesktopTest, KeepsItsPlaceWhenSwayReadsItsConfigurationAgain) {
    if (!isSway()) {
        GTEST_SKIP() << "is not Sway";
    }
    startWallpaper();
    ASSERT_TRUE(showsPetals());
    desktop().session().run({"swaymsg", "reload"});
    ASSERT_TRUE(outputBecomes([](const json &output) { return output["frames"] > 3; }));
    EXPECT_TRUE(showsPetals({300, 200, 600, 400}));
    photograph("reloaded");
    killWallpaper();
    EXPECT_TRUE(looksAsAtFirst());
    photograph("killed");
}

TEST_P(NestedDesktopTest, RestsBeneathPhoshsOverviewAndLockScreen) {
    if (!isPhosh()) {
        GTEST_SKIP() << "is not Phosh";
    }
    startWallpaper();
    ASSERT_TRUE(showsPetals());
    screen().click({screen().bounds().width / 2, screen().bounds().height - 10});
    ASSERT_TRUE(outputBecomes(rests));
    EXPECT_TRUE(usesNoProcessor());
    photograph("overview");
    desktop().session().shell("gdbus call --session --dest org.gnome.ScreenSaver --object-path "
                              "/org/gnome/ScreenSaver --method org.gnome.ScreenSaver.Lock");
    ASSERT_TRUE(desktop().comesToRest());
    EXPECT_TRUE(outputBecomes(rests));
    EXPECT_TRUE(usesNoProcessor());
    photograph("locked");
}

INSTANTIATE_TEST_SUITE_P(Sway, NestedDesktopTest, ::testing::Values(desktopKind("Sway")));
INSTANTIATE_TEST_SUITE_P(phoc, NestedDesktopTest, ::testing::Values(desktopKind("phoc")));
INSTANTIATE_TEST_SUITE_P(Phosh, NestedDesktopTest, ::testing::Values(desktopKind("Phosh")));
