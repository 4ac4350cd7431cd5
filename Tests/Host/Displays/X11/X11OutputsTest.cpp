#include "Host/Displays/X11/X11Outputs.h"

#include "Tests/Host/Displays/X11/X11Client.h"
#include "Tests/Host/Displays/X11/X11DesktopTest.h"

#include <limits>

using namespace Lumivera;

namespace {

/// Makes the bytes of the property _XSETTINGS_SETTINGS.
class XSettings {
  public:
    explicit XSettings(bool isBigEndian) : _isBigEndian(isBigEndian) {}

    XSettings &number(const std::string &name, std::int32_t value) {
        return begin(0, name).add(static_cast<std::uint32_t>(value), 4);
    }

    XSettings &text(const std::string &name, const std::string &value) {
        begin(1, name).add(static_cast<std::uint32_t>(value.size()), 4);
        return addPadded(value);
    }

    XSettings &color(const std::string &name) {
        return begin(2, name).add(0x11223344, 4).add(0x55667788, 4);
    }

    /// The beginning of a setting, as all types have it.
    XSettings &begin(std::uint32_t type, const std::string &name) {
        ++_count;
        add(type, 1).add(0, 1).add(static_cast<std::uint32_t>(name.size()), 2);
        return addPadded(name).add(77, 4);
    }

    XSettings &add(std::uint32_t word, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i) {
            const std::size_t place = _isBigEndian ? bytes - 1 - i : i;
            _bytes += static_cast<char>(word >> 8 * place);
        }
        return *this;
    }

    XSettings &withCount(std::uint32_t count) {
        _count = count;
        return *this;
    }

    std::string bytes() const {
        XSettings head(_isBigEndian);
        head.add(_isBigEndian ? 1 : 0, 1).add(0, 3).add(5, 4).add(_count, 4);
        return head._bytes + _bytes;
    }

    std::optional<CGFloat> density() const { return densityFromXSettings(bytes()); }

  private:
    XSettings &addPadded(const std::string &text) {
        _bytes += text;
        _bytes.append((4 - text.size() % 4) % 4, '\0');
        return *this;
    }

    bool _isBigEndian;
    std::uint32_t _count = 0;
    std::string _bytes;
};

/// The settings of a usual desktop, with a density of 2 * 1.5.
XSettings usualSettings(bool isBigEndian) {
    XSettings settings(isBigEndian);
    settings.text("Net/ThemeName", "Some").number("Xft/DPI", 288 * 1024).color("Gtk/Color");
    return settings.number("Gdk/WindowScalingFactor", 2).number("Gdk/UnscaledDPI", 144 * 1024);
}

class X11OutputsTest : public X11DesktopTest {
  protected:
    void xrandr(const std::string &arguments) { screen->run("xrandr " + arguments); }

    bool isDensity(CGFloat density) {
        return served([&] { return owner().surface.geometry().density == density; });
    }

    /// A program that keeps the desktop's settings, with a window of its own for them.
    std::uint32_t keepSettings(X11Client &client, std::int32_t factor) {
        const std::uint32_t window = client.create({.area = {0, 0, 1, 1}, .isUnmanaged = true});
        changeSettings(client, window, factor);
        client.takeSelection("_XSETTINGS_S0", window);
        return window;
    }

    void changeSettings(X11Client &client, std::uint32_t window, std::int32_t factor) {
        client.setText(window, "_XSETTINGS_SETTINGS",
                       XSettings(false).number("Gdk/WindowScalingFactor", factor).bytes());
    }

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

TEST_F(X11OutputsTest, HaveTheDensityThatTheSettingsProgramSays) {
    startScreen();
    screen->run("sh -c 'echo Xft.dpi: 144 | xrdb -merge -nocpp'");
    X11Client client;
    keepSettings(client, 3);
    open();
    EXPECT_EQ(owner().surface.geometry().density, 3);
}

TEST_F(X11OutputsTest, FollowTheSettingsProgramFromItsStartToItsEnd) {
    startScreen();
    open();
    EXPECT_EQ(owner().surface.geometry().density, 1);
    X11Client client;
    const std::uint32_t window = keepSettings(client, 2);
    EXPECT_TRUE(isDensity(2));
    changeSettings(client, window, 3);
    EXPECT_TRUE(isDensity(3));
    EXPECT_EQ(owner().geometryChanges, 2);
    client.setText(window, "_XSETTINGS_SETTINGS", "nonsense");
    EXPECT_TRUE(isDensity(1));
    changeSettings(client, window, 2);
    EXPECT_TRUE(isDensity(2));
    client.close(window);
    EXPECT_TRUE(isDensity(1));
}

TEST_F(X11OutputsTest, FollowASettingsProgramThatTakesThePlaceOfAnother) {
    startScreen();
    open();
    X11Client first;
    const std::uint32_t old = keepSettings(first, 2);
    EXPECT_TRUE(isDensity(2));
    X11Client second;
    keepSettings(second, 3);
    EXPECT_TRUE(isDensity(3));
    changeSettings(first, old, 4);
    first.close(old);
    keepSettings(second, 5);
    EXPECT_TRUE(isDensity(5));
    EXPECT_EQ(owner().geometryChanges, 3);
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

class X11DensityInSettings : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(X11, X11DensityInSettings, testing::Bool(), [](const auto &info) {
    return info.param ? "BigEndian" : "LittleEndian";
});

TEST_P(X11DensityInSettings, IsTheUnscaledResolutionTimesTheFactor) {
    EXPECT_EQ(usualSettings(GetParam()).density(), 3);
}

TEST_P(X11DensityInSettings, IsTheResolutionOrTheFactorAlone) {
    EXPECT_EQ(XSettings(GetParam()).number("Gdk/UnscaledDPI", 144 * 1024).density(), 1.5);
    EXPECT_EQ(XSettings(GetParam()).number("Gdk/WindowScalingFactor", 2).density(), 2);
    EXPECT_EQ(XSettings(GetParam()).number("Xft/DPI", 120 * 1024).density(), 1.25);
}

TEST_P(X11DensityInSettings, IsTheResolutionOfTextWithoutTheUnscaledOne) {
    XSettings settings(GetParam());
    settings.number("Gdk/WindowScalingFactor", 2).number("Xft/DPI", 192 * 1024);
    EXPECT_EQ(settings.density(), 2);
}

TEST_P(X11DensityInSettings, IsTheFactorWhereTheResolutionsAreUnset) {
    XSettings settings(GetParam());
    settings.number("Xft/DPI", -1).number("Gdk/UnscaledDPI", -1);
    EXPECT_FALSE(settings.density());
    EXPECT_EQ(settings.number("Gdk/WindowScalingFactor", 2).density(), 2);
}

TEST_P(X11DensityInSettings, IsNotSaidByOtherSettings) {
    EXPECT_FALSE(XSettings(GetParam()).density());
    EXPECT_FALSE(XSettings(GetParam()).number("Gdk/WindowScalingFacto", 2).density());
    EXPECT_FALSE(XSettings(GetParam()).number("Gdk/WindowScalingFactors", 2).density());
    EXPECT_FALSE(XSettings(GetParam()).text("Gdk/WindowScalingFactor", "2").density());
    EXPECT_FALSE(XSettings(GetParam()).color("Gdk/WindowScalingFactor").density());
}

TEST_P(X11DensityInSettings, IsNotTakenFromNonsense) {
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
    for (const std::int32_t factor : {0, -1, 11, kMost, kLeast}) {
        XSettings settings(GetParam());
        EXPECT_FALSE(settings.number("Gdk/WindowScalingFactor", factor).density()) << factor;
        EXPECT_FALSE(settings.number("Gdk/UnscaledDPI", 96 * 1024).density()) << factor;
    }
    for (const std::int32_t resolution : {0, -5, 1, kMost, kLeast}) {
        EXPECT_FALSE(XSettings(GetParam()).number("Xft/DPI", resolution).density()) << resolution;
    }
}

TEST_P(X11DensityInSettings, IsNotTakenFromBytesThatWereCutAnywhere) {
    const std::string whole = usualSettings(GetParam()).bytes();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(densityFromXSettings(whole.substr(0, size))) << size;
    }
}

TEST_P(X11DensityInSettings, IgnoresWhatFollowsTheLastSetting) {
    EXPECT_EQ(densityFromXSettings(usualSettings(GetParam()).bytes() + "more"), 3);
    XSettings fewer = usualSettings(GetParam());
    EXPECT_EQ(fewer.withCount(4).density(), 3) << "the scaled resolution is left";
}

TEST_P(X11DensityInSettings, IsNotTakenFromCountsAndLengthsBeyondTheBytes) {
    for (const std::uint32_t count : {6U, 0x7fffffffU, 0xffffffffU}) {
        EXPECT_FALSE(usualSettings(GetParam()).withCount(count).density()) << count;
    }
    for (const std::uint32_t length : {5U, 0x7fffffffU, 0xfffffffdU, 0xffffffffU}) {
        XSettings settings = usualSettings(GetParam());
        settings.begin(1, "Text").add(length, 4).add(0, 4);
        EXPECT_FALSE(settings.density()) << length;
    }
    XSettings settings = usualSettings(GetParam());
    settings.withCount(6).add(0, 2).add(0xffff, 2).add(0, 4);
    EXPECT_FALSE(settings.density());
}

TEST_P(X11DensityInSettings, IsNotTakenFromSettingsWithAnUnknownType) {
    XSettings settings = usualSettings(GetParam());
    EXPECT_FALSE(settings.begin(3, "New").add(0, 4).density());
}

TEST(X11DensityInSettings, IsNotTakenFromAnUnknownOrderOfBytes) {
    std::string bytes = usualSettings(false).bytes();
    bytes[0] = 2;
    EXPECT_FALSE(densityFromXSettings(bytes));
}

} // namespace
