#include "Tests/Host/Displays/X11/X11ScreenTest.h"

#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Support/RealTimeLoop.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

/// Replaces the machine's settings of openbox; nearly everything keeps openbox's own default.
constexpr const char *kOpenboxSettings =
    "<?xml version=\"1.0\"?>\n"
    "<openbox_config xmlns=\"http://openbox.org/3.4/rc\"><keyboard>"
    "<keybind key=\"A-F4\"><action name=\"Close\"/></keybind>"
    "</keyboard></openbox_config>\n";

} // namespace

void X11ScreenTest::startScreen(const std::string &size, const std::vector<std::string> &options) {
    screen.emplace(size, options);
    ASSERT_NE(screen->name(), "") << "Xvfb does not start";
    setenv("DISPLAY", screen->name().c_str(), 1);
}

/// Waits until openbox is ready: it never manages a window that is mapped while it starts.
pid_t X11ScreenTest::startWindowManager() {
    const std::string settings = _folder.write("rc.xml", kOpenboxSettings);
    const std::string sign = _folder.pathOf("openbox-is-there");
    const pid_t manager =
        screen->start({"openbox", "--config-file", settings, "--startup", "touch " + sign});
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(sign); }))
        << "openbox does not start";
    return manager;
}

void X11ScreenTest::startCompositingManager() {
    screen->start({"picom", "--config", "/dev/null", "--backend", "xrender"});
    ASSERT_TRUE(eventually([this] {
        return screen->run("xwininfo -root -tree").find("picom") != std::string::npos;
    })) << "picom does not start";
}

std::string X11ScreenTest::openWindow(const std::string &title, const std::string &geometry,
                                      const std::vector<std::string> &more) {
    std::vector<std::string> arguments{"xterm", "-title", title, "-bg", "#ff0000",  "+sb",
                                       "-bw",   "0",      "-b",  "0",   "-geometry"};
    arguments.push_back(geometry);
    arguments.insert(arguments.end(), more.begin(), more.end());
    screen->start(arguments);
    std::string window;
    EXPECT_TRUE(eventually([&] {
        window = screen->run("xdotool search --onlyvisible --name '^" + title + "$'");
        window.resize(std::strcspn(window.c_str(), "\n"));
        return !window.empty();
    })) << "no window is called "
        << title;
    return window;
}

Retained<CGImage> X11ScreenTest::picture() {
    const std::string path = _folder.pathOf("screen.png");
    screen->run("import -window root png:" + path);
    const std::string bytes = contentsOf(path);
    return CGImageCreateWithData(
        {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
}

std::uint32_t X11ScreenTest::pixel(int x, int y) {
    const auto image = picture();
    return image ? image->pixels()[static_cast<std::size_t>(y) * image->width() +
                                   static_cast<std::size_t>(x)]
                 : 0;
}

bool X11ScreenTest::served(const std::function<bool()> &condition) { return serveUntil(condition); }
