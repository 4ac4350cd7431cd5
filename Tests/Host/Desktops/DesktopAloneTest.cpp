#include "Tests/Host/Desktops/RealDesktopTest.h"

// What each desktop does without Lumivera, so that the tests with it compare with something true.

TEST_P(RealDesktopTest, AloneShowsItsIcons) {
    photograph("first");
    EXPECT_GT(desktop().firstPicture().shareOf(RealDesktop::kColour, screen().workArea()), 0.7);
    if (!GetParam().drawsIcons()) {
        GTEST_SKIP() << "draws no icons";
    }
    EXPECT_GE(desktop().icons().size(), RealDesktop::kThingsOnTheDesktop);
    EXPECT_TRUE(showsIcons());
    EXPECT_NE(desktop().setting(), "");
}

TEST_P(RealDesktopTest, AloneOpensAFileByADoubleClick) {
    if (!GetParam().drawsIcons()) {
        GTEST_SKIP() << "draws no icons";
    }
    ASSERT_TRUE(findTextFile());
    EXPECT_TRUE(opensTheTextFile());
}

TEST_P(RealDesktopTest, AloneOpensItsMenuByARightClick) {
    if (!GetParam().hasMenu) {
        GTEST_SKIP() << "has no menu";
    }
    EXPECT_TRUE(opensTheMenu());
}

TEST_P(RealDesktopTest, AloneSwitchesWorkspaces) {
    if (workspaceCount() < 2) {
        GTEST_SKIP() << "has one workspace";
    }
    const auto window = openWindow();
    ASSERT_TRUE(switchToWorkspace(1));
    EXPECT_TRUE(eventually([&] { return !isWhole(window); })) << "it stays behind";
    EXPECT_TRUE(showsIcons());
    photograph("second-workspace");
    ASSERT_TRUE(switchToWorkspace(0));
    EXPECT_TRUE(eventually([&] { return isWhole(window); }));
}

TEST_P(RealDesktopTest, AloneShowsTheDesktop) {
    if (!screen().supports("_NET_SHOWING_DESKTOP")) {
        GTEST_SKIP() << "has no way to show the desktop";
    }
    const auto window = openWindow();
    ASSERT_TRUE(setShowingDesktop(true));
    EXPECT_TRUE(eventually([&] { return !isWhole(window); }));
    EXPECT_TRUE(looksAsAtFirst());
    ASSERT_TRUE(setShowingDesktop(false));
    EXPECT_TRUE(eventually([&] { return isWhole(window); }));
}

TEST_P(RealDesktopTest, AloneBringsItsIconsBack) {
    if (!GetParam().drawsIcons()) {
        GTEST_SKIP() << "draws no icons";
    }
    ASSERT_TRUE(restartFileManager());
    EXPECT_TRUE(showsIcons());
    EXPECT_TRUE(looksAsAtFirst());
}

TEST_P(RealDesktopTest, AloneCoversItselfWithWindows) {
    const auto window = openWindow();
    maximize(window);
    EXPECT_TRUE(eventually([&] { return isWhole(window); }));
    photograph("maximized");
    makeFullScreen(window);
    EXPECT_TRUE(eventually([&] { return isWhole(window); }));
    photograph("full-screen");
}
