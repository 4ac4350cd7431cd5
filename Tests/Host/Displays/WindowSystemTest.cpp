#include "Host/Displays/WindowSystem.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Displays/Wayland/TestCompositor.h"
#include "Tests/Host/Displays/X11/X11Client.h"
#include "Tests/Host/Displays/X11/X11ScreenTest.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Host/Support/RealTimeLoop.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

/// A Wayland session whose compositor has no layer shell, with an X server beside it.
class WindowSystemTest : public X11ScreenTest {
  protected:
    WindowSystemTest() : _wayland("WAYLAND_DISPLAY", "wayland-0"), _display("DISPLAY", nullptr) {}

    static TestCompositor::Options withoutLayers() {
        TestCompositor::Options options;
        options.hasLayerShell = false;
        return options;
    }

    /// The window manager of the X server calls itself so.
    void startScreenOf(const std::string &manager) {
        startScreen();
        _client.emplace();
        _client->pretendToManage(manager, {});
    }

    void TearDown() override {
        _client.reset();
        X11ScreenTest::TearDown();
    }

    std::string complaint() {
        try {
            openDesktop(_waiter, {});
        } catch (const HostError &error) {
            return error.what();
        }
        return "";
    }

    DescriptorWaiter _waiter;
    std::optional<X11Client> _client;

  private:
    EnvironmentVariable _wayland;
    EnvironmentVariable _display;
    TestCompositor _compositor{withoutLayers()};
};

const Finding *findingIn(const DesktopSurvey &survey, const std::string &subject) {
    const auto found =
        std::find_if(survey.findings.begin(), survey.findings.end(),
                     [&](const Finding &finding) { return finding.subject == subject; });
    return found == survey.findings.end() ? nullptr : &*found;
}

TEST_F(WindowSystemTest, GoesThroughTheXwaylandOfGNOME) {
    startScreenOf("GNOME Shell");
    EXPECT_EQ(openDesktop(_waiter, {})->name(), "X11");
}

TEST_F(WindowSystemTest, KeepsServingDescriptorsThen) {
    startScreenOf("GNOME Shell");
    const auto desktop = openDesktop(_waiter, {});
    screen->end();
    struct Listener final : Desktop::Listener {
        void outputAdded(DesktopSurface &) override {}
        void outputRemoved(DesktopSurface &) override {}
        void desktopLost(const std::string &) override { isLost = true; }
        bool isLost = false;
    } listener;
    desktop->setListener(&listener);
    EXPECT_TRUE(serveUntil([&] { return listener.isLost; }, 10));
    desktop->setListener(nullptr);
}

TEST_F(WindowSystemTest, RefusesTheXwaylandOfOthers) {
    startScreenOf("Weston WM");
    EXPECT_THAT(complaint(), HasSubstr("no layer shell"));
}

TEST_F(WindowSystemTest, SaysThatTheXwaylandOfGNOMERefuses) {
    const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "Debian:GNOME");
    const EnvironmentVariable display("DISPLAY", ":4711");
    EXPECT_EQ(complaint(),
              "desktop: GNOME has no layer shell, and its Xwayland cannot be used (X11: there is "
              "no server at DISPLAY=:4711); start it from within the session, or give it the "
              "DISPLAY and XAUTHORITY of GNOME's Xwayland");
}

TEST_F(WindowSystemTest, SaysNothingOfAnXwaylandElsewhere) {
    const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "Weston");
    const EnvironmentVariable display("DISPLAY", ":4711");
    EXPECT_THAT(complaint(), HasSubstr("no layer shell"));
}

TEST_F(WindowSystemTest, SurveysTheXwaylandOfGNOME) {
    startScreenOf("GNOME Shell");
    const EnvironmentVariable bus("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    const DesktopSurvey survey = surveyDesktop(LayerChoice::Automatic);
    EXPECT_EQ(survey.system, "X11");
    const Finding *const wayland = findingIn(survey, "Wayland");
    ASSERT_TRUE(wayland);
    EXPECT_THAT(wayland->words, HasSubstr("through Xwayland"));
    const Finding *const extension = findingIn(survey, "GNOME extension");
    ASSERT_TRUE(extension);
    EXPECT_EQ(extension->level, Finding::Level::Lacking);
    EXPECT_THAT(extension->remedy, HasSubstr("gnome-extensions enable lumivera@lumivera.app"));
    EXPECT_FALSE(findingIn(survey, "taps")) << "clicks do not reach Xwayland";
}

TEST_F(WindowSystemTest, SurveysARefusingXwaylandOfGNOME) {
    const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "GNOME");
    const DesktopSurvey survey = surveyDesktop(LayerChoice::Automatic);
    const Finding *const xwayland = findingIn(survey, "Xwayland");
    ASSERT_TRUE(xwayland);
    EXPECT_EQ(xwayland->level, Finding::Level::Bad);
    EXPECT_THAT(xwayland->words, HasSubstr("DISPLAY is not set"));
    EXPECT_THAT(xwayland->remedy, HasSubstr("XAUTHORITY"));
}

TEST_F(WindowSystemTest, ToldToUseWaylandItDoesNotGoThroughXwayland) {
    startScreenOf("GNOME Shell");
    DesktopOptions options;
    options.system = "wayland";
    EXPECT_THROW(openDesktop(_waiter, options), HostError);
}

} // namespace
