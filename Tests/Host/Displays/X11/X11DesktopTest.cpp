#include "Tests/Host/Displays/X11/X11DesktopTest.h"

#include "Platform/CoreGraphics/CGImageDecoding.h"
#include "Tests/Host/ProgramRun.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>

using namespace Lumivera;

namespace {

constexpr auto kLimit = std::chrono::seconds(30);
constexpr NSTimeInterval kTurn = 0.01;

/// Its own values for everything, whatever the machine's say.
constexpr const char *kOpenboxSettings =
    "<?xml version=\"1.0\"?>\n"
    "<openbox_config xmlns=\"http://openbox.org/3.4/rc\"></openbox_config>\n";

} // namespace

SurfaceOwner::SurfaceOwner(DesktopSurface &shown) : surface(shown) { surface.setListener(this); }

void SurfaceOwner::pictureWanted(unsigned index) {
    EXPECT_FALSE(wanted) << "a picture is wanted twice";
    wanted = index;
}

void SurfaceOwner::giveMemory() {
    const SurfaceGeometry geometry = surface.geometry();
    memory = std::make_shared<SharedPicture>(geometry.width, geometry.height, 2);
    wanted.reset();
    surface.setMemory(memory);
}

void SurfaceOwner::show(const DeviceRect &part, std::uint32_t salt) {
    ASSERT_TRUE(wanted);
    const unsigned index = *wanted;
    for (int y = part.top; y < part.bottom; ++y) {
        std::uint32_t *row = memory->pixels(index) + static_cast<std::size_t>(y) * memory->width();
        for (int x = part.left; x < part.right; ++x) {
            row[x] = colorAt(x, y, salt);
        }
    }
    wanted.reset();
    surface.present(index, {part});
}

void SurfaceOwner::showAll(std::uint32_t salt) {
    show({0, 0, static_cast<int>(memory->width()), static_cast<int>(memory->height())}, salt);
}

std::uint32_t SurfaceOwner::colorAt(int x, int y, std::uint32_t salt) {
    const auto column = static_cast<std::uint32_t>(x);
    const auto row = static_cast<std::uint32_t>(y);
    return 0xff000000 | ((column * 7 + salt) & 0xff) << 16 | ((row * 5 + salt) & 0xff) << 8 |
           ((column / 256 * 16 + row / 256 * 64 + salt) & 0xff);
}

void X11DesktopTest::TearDown() {
    desktop.reset();
    waiter.reset();
    screen.reset();
}

void X11DesktopTest::startScreen(const std::string &size, const std::vector<std::string> &options) {
    screen.emplace(size, options);
    ASSERT_NE(screen->name(), "") << "Xvfb does not start";
    setenv("DISPLAY", screen->name().c_str(), 1);
}

pid_t X11DesktopTest::startWindowManager() {
    const std::string settings = _folder.write("rc.xml", kOpenboxSettings);
    const pid_t manager = screen->start({"openbox", "--config-file", settings});
    EXPECT_TRUE(eventually([this] {
        return screen->run("xprop -root _NET_SUPPORTING_WM_CHECK").find('#') != std::string::npos;
    })) << "openbox does not start";
    return manager;
}

void X11DesktopTest::startCompositingManager() {
    screen->start({"picom", "--config", "/dev/null", "--backend", "xrender"});
    ASSERT_TRUE(eventually([this] {
        return screen->run("xwininfo -root -tree").find("picom") != std::string::npos;
    })) << "picom does not start";
}

void X11DesktopTest::open(const Desktop::Options &options) {
    waiter.emplace();
    desktop.emplace(*waiter, options);
    desktop->setListener(this);
}

void X11DesktopTest::openWithPicture(const Desktop::Options &options) {
    open(options);
    owner().giveMemory();
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    owner().showAll(1);
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    ASSERT_TRUE(served([this] { return pixel(700, 500) == SurfaceOwner::colorAt(700, 500, 1); }));
}

void X11DesktopTest::outputAdded(DesktopSurface &surface) {
    owners.push_back(std::make_unique<SurfaceOwner>(surface));
}

void X11DesktopTest::outputRemoved(DesktopSurface &surface) {
    std::erase_if(owners, [&](const auto &owner) { return &owner->surface == &surface; });
}

bool X11DesktopTest::served(const std::function<bool()> &condition) {
    const auto end = std::chrono::steady_clock::now() + kLimit;
    while (std::chrono::steady_clock::now() < end) {
        NSRunLoop::mainRunLoop().runForSeconds(kTurn);
        if (condition()) {
            return true;
        }
    }
    return condition();
}

bool X11DesktopTest::isVisibility(SurfaceVisibility visibility) {
    return served([&] { return owner().surface.visibility() == visibility; });
}

SurfaceOwner *X11DesktopTest::ownerOf(const std::string &output) {
    const auto found = std::find_if(owners.begin(), owners.end(), [&](const auto &owner) {
        return owner->surface.outputName() == output;
    });
    return found == owners.end() ? nullptr : found->get();
}

std::string X11DesktopTest::openWindow(const std::string &title, const std::string &geometry,
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

Retained<CGImage> X11DesktopTest::picture() {
    const std::string path = _folder.pathOf("screen.png");
    screen->run("import -window root png:" + path);
    const std::string bytes = contentsOf(path);
    return CGImageCreateWithData(
        {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
}

std::uint32_t X11DesktopTest::pixel(int x, int y) {
    const auto image = picture();
    return image ? image->pixels()[static_cast<std::size_t>(y) * image->width() +
                                   static_cast<std::size_t>(x)]
                 : 0;
}
