#include "Host/Desktop/Backgrounds/DesktopBackgrounds.h"
#include "Host/Desktop/Backgrounds/ToolProcesses.h"
#include "Host/Support/Processes.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

/// A message bus of its own, which starts the services that keep settings.
class SessionBus {
  public:
    explicit SessionBus(const std::string &folder) : _address("unix:path=" + folder + "/bus") {
        _process = spawnProgram({"dbus-daemon", "--session", "--nofork", "--nopidfile",
                                 "--print-address", "--address=" + _address},
                                {-1, -1, -1}, ownEnvironment());
        serveUntil([&] { return access((folder + "/bus").c_str(), F_OK) == 0; }, 10);
    }

    ~SessionBus() {
        if (_process > 0) {
            kill(_process, SIGTERM);
            waitpid(_process, nullptr, 0);
        }
    }

    SessionBus(const SessionBus &) = delete;
    SessionBus &operator=(const SessionBus &) = delete;

    const std::string &address() const { return _address; }

  private:
    const std::string _address;
    int _process = -1;
};

/// A person's settings in a home folder whose name needs quoting.
class RealToolsTest : public ::testing::Test {
  protected:
    /// What the tool prints.
    std::string run(const std::vector<std::string> &arguments) {
        ToolProcesses tools(_waiter);
        std::string output;
        tools.run({arguments, {}}, [&](const ToolResult &result) {
            output = result.isGood() ? result.output : "failed: " + result.problem;
        });
        tools.finish(60);
        return output;
    }

    bool has(const std::vector<std::string> &arguments) {
        return !run(arguments).starts_with("failed");
    }

    void show(DesktopBackgrounds &backgrounds, const std::string &program) {
        SharedBuffers picture(8, 6, 1);
        std::fill_n(picture.pixels(0), 48, 0xFF102030);
        backgrounds.show(program, 1, "HDMI-1", {0, 0, 8, 6}, picture);
    }

    const TemporaryFolder _temporary;
    const std::string _home = _temporary.makeFolder("it's é \"home\"");
    const EnvironmentVariable _config{"XDG_CONFIG_HOME", (_home + "/config").c_str()};
    const EnvironmentVariable _locale{"LC_ALL", "C.UTF-8"};
    DescriptorWaiter _waiter;
    std::vector<std::string> _log;
};

TEST_F(RealToolsTest, ShowAndGiveBackAGSettingsWallpaper) {
    const EnvironmentVariable backend("GSETTINGS_BACKEND", "keyfile");
    if (!has({"gsettings", "list-keys", "org.gnome.desktop.background"})) {
        GTEST_SKIP() << "install libglib2.0-bin and gsettings-desktop-schemas";
    }
    const std::string schema = "org.gnome.desktop.background";
    run({"gsettings", "set", schema, "picture-uri", "file:///my/own%20one.png"});
    const std::string own = run({"gsettings", "list-recursively", schema});
    ASSERT_THAT(own, HasSubstr("own%20one"));
    DesktopBackgrounds backgrounds(_waiter, _home + "/state",
                                   [&](const std::string &line) { _log.push_back(line); });
    show(backgrounds, "Gnome-flashback");
    const auto isShown = [&] {
        const std::string now = run({"gsettings", "list-recursively", schema});
        return now.find("'spanned'") != std::string::npos &&
               now.find(fileURI(_home + "/state/HDMI-1-")) != std::string::npos;
    };
    EXPECT_TRUE(serveUntil(isShown, 30));
    EXPECT_TRUE(backgrounds.giveBack());
    EXPECT_EQ(run({"gsettings", "list-recursively", schema}), own);
    EXPECT_THAT(_log, IsEmpty());
}

TEST_F(RealToolsTest, ShowAndGiveBackAnXfceWallpaper) {
    const SessionBus bus(_temporary.path());
    const EnvironmentVariable address("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str());
    const std::string workspace = "/backdrop/screen0/monitorHDMI-1/workspace0";
    const auto set = [&](const std::string &key, const std::string &type,
                         const std::string &value) {
        return run({"xfconf-query", "-c", "xfce4-desktop", "-p", workspace + key, "-n", "-t", type,
                    "-s", value});
    };
    if (!has({"xfconf-query", "--version"}) ||
        set("/last-image", "string", "/my  'own'.png") != "") {
        GTEST_SKIP() << "install xfconf and dbus";
    }
    set("/backdrop-cycle-enable", "bool", "true");
    const std::string own = run({"xfconf-query", "-c", "xfce4-desktop", "-lv"});
    DesktopBackgrounds backgrounds(_waiter, _home + "/state",
                                   [&](const std::string &line) { _log.push_back(line); });
    show(backgrounds, "Xfdesktop");
    const auto isShown = [&] {
        const std::string now = run({"xfconf-query", "-c", "xfce4-desktop", "-lv"});
        return now.find(_home + "/state/HDMI-1-") != std::string::npos &&
               now.find("true") == std::string::npos;
    };
    EXPECT_TRUE(serveUntil(isShown, 30));
    EXPECT_TRUE(backgrounds.giveBack());
    EXPECT_EQ(run({"xfconf-query", "-c", "xfce4-desktop", "-lv"}), own);
    EXPECT_THAT(_log, IsEmpty());
}

} // namespace
