#include "Host/Displays/X11/X11Outputs.h"

#include "Tests/Host/Displays/X11/X11DesktopTest.h"

using namespace Lumivera;

namespace {

class X11OutputsTest : public X11DesktopTest {
  protected:
    void xrandr(const std::string &arguments) { screen->run("xrandr " + arguments); }

    bool hasGeometry(const std::string &output, unsigned width, unsigned height) {
        SurfaceOwner *known = ownerOf(output);
        return known && known->surface.geometry() == SurfaceGeometry{width, height, 1};
    }

    /// Shows a new picture on the output and looks for it at its corners on the screen.
    void expectPictureAt(const std::string &output, int left, int top) {
        SurfaceOwner *known = ownerOf(output);
        ASSERT_TRUE(known);
        known->giveMemory();
        ASSERT_TRUE(served([&] { return known->wanted.has_value(); }));
        known->showAll(3);
        const int right = static_cast<int>(known->memory->width()) - 1;
        const int bottom = static_cast<int>(known->memory->height()) - 1;
        EXPECT_TRUE(served([&] {
            return pixel(left, top) == SurfaceOwner::colorAt(0, 0, 3) &&
                   pixel(left + right, top + bottom) == SurfaceOwner::colorAt(right, bottom, 3);
        }));
    }
};

TEST_F(X11OutputsTest, AreNamedAsTheServerNamesThem) {
    startScreen();
    open();
    ASSERT_EQ(owners.size(), 1u);
    EXPECT_EQ(owner().surface.outputName(), "screen");
    EXPECT_EQ(owner().surface.geometry(), (SurfaceGeometry{800, 600, 1}));
    EXPECT_EQ(desktop->name(), "X11");
}

TEST_F(X11OutputsTest, AreOneForAServerThatTellsNoMonitors) {
    startScreen("800x600x24", {"-extension", "RANDR"});
    openWithPicture();
    ASSERT_EQ(owners.size(), 1u);
    EXPECT_EQ(owner().surface.outputName(), "default");
    EXPECT_EQ(owner().surface.geometry(), (SurfaceGeometry{800, 600, 1}));
}

TEST_F(X11OutputsTest, ComeAndGoAndMoveTenTimes) {
    startScreen();
    open();
    for (int i = 0; i < 10; ++i) {
        xrandr("--setmonitor Left 300/80x600/160+0+0 screen");
        xrandr("--setmonitor Right 500/130x600/160+300+0 none");
        ASSERT_TRUE(served([&] {
            return owners.size() == 2 && hasGeometry("Left", 300, 600) &&
                   hasGeometry("Right", 500, 600);
        })) << "in turn "
            << i;
        expectPictureAt("Left", 0, 0);
        expectPictureAt("Right", 300, 0);
        xrandr("--delmonitor Right");
        xrandr("--setmonitor Right 400/130x500/160+400+100 none");
        ASSERT_TRUE(served([&] { return hasGeometry("Right", 400, 500); }));
        expectPictureAt("Right", 400, 100);
        xrandr("--delmonitor Right");
        xrandr("--delmonitor Left");
        ASSERT_TRUE(served([&] { return owners.size() == 1 && hasGeometry("screen", 800, 600); }));
    }
    expectPictureAt("screen", 0, 0);
}

TEST_F(X11OutputsTest, ChangeTheirMode) {
    startScreen("1024x768x24");
    startWindowManager();
    open();
    expectPictureAt("screen", 0, 0);
    xrandr("--newmode Small 25 640 656 752 800 480 490 492 525");
    xrandr("--addmode screen Small");
    xrandr("--output screen --mode Small");
    ASSERT_TRUE(served([&] { return hasGeometry("screen", 640, 480); }));
    EXPECT_EQ(owner().geometryChanges, 1);
    expectPictureAt("screen", 0, 0);
    xrandr("--output screen --mode 1024x768");
    ASSERT_TRUE(served([&] { return hasGeometry("screen", 1024, 768); }));
    expectPictureAt("screen", 0, 0);
}

TEST_F(X11OutputsTest, HaveTheDensityOfTheDesktopsSettings) {
    startScreen();
    screen->run("sh -c 'echo Xft.dpi: 144 | xrdb -merge -nocpp'");
    open();
    EXPECT_EQ(owner().surface.geometry().density, 1.5);
    screen->run("sh -c 'echo Xft.dpi: 192 | xrdb -merge -nocpp'");
    EXPECT_TRUE(served([this] { return owner().surface.geometry().density == 2; }));
    EXPECT_EQ(owner().geometryChanges, 1);
}

TEST_F(X11OutputsTest, HaveTheDensityThatWasAskedFor) {
    startScreen();
    screen->run("sh -c 'echo Xft.dpi: 144 | xrdb -merge -nocpp'");
    open({LayerChoice::Automatic, 3});
    EXPECT_EQ(owner().surface.geometry().density, 3);
}

TEST(X11Outputs, AreOneWhereSeveralShowTheSame) {
    const std::vector<X11Output> outputs{{"Small", {0, 0, 800, 600}},
                                         {"Panel", {0, 0, 1920, 1080}},
                                         {"Projector", {0, 0, 1920, 1080}},
                                         {"Beside", {1920, 0, 3200, 1024}}};
    const std::vector<X11Output> expected{outputs[1], outputs[3]};
    EXPECT_EQ(withoutMirrors(outputs), expected);
}

TEST(X11Outputs, AreLeftOutWithoutAnyPixels) {
    EXPECT_TRUE(withoutMirrors({{"Off", {0, 0, 0, 0}}}).empty());
}

TEST(X11Density, IsANinetySixthOfTheDotsPerInch) {
    EXPECT_EQ(densityFromX11Resources("Xft.antialias:\t1\nXft.dpi:\t144\nXft.rgba:\tnone\n"), 1.5);
    EXPECT_EQ(densityFromX11Resources("Xft.dpi: 96"), 1.0);
}

TEST(X11Density, IsNotSaidByOtherSettings) {
    EXPECT_FALSE(densityFromX11Resources(""));
    EXPECT_FALSE(densityFromX11Resources("*Xft.dpi: 144\nXft.dpix: 3\n"));
}

TEST(X11Density, IsNotTakenFromNonsense) {
    for (const char *value : {"", " ", " many", " 0", " -96", " nan", " inf", " 1e300"}) {
        EXPECT_FALSE(densityFromX11Resources(std::string("Xft.dpi:") + value)) << value;
    }
}

} // namespace
