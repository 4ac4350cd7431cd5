#include "Tests/Host/Desktops/RealDesktopTest.h"

#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramRun.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <map>
#include <sstream>
#include <thread>
#include <utility>

namespace {

using nlohmann::json;

/// Enough to see some everywhere, too few to hide much.
constexpr const char *kPetals = "60";

constexpr auto kBetweenPictures = std::chrono::milliseconds(150);

/// How much of an icon must be there: its edges are mixed with what is behind it.
constexpr double kIconShare = 0.6;

constexpr std::uint32_t kAddState = 1;

/// The activity that a resting process may show in that time: the thread sanitizer has a thread of
/// its own that wakes ten times a second.
#ifdef __SANITIZE_THREAD__
constexpr long kIdleActivity = 1;
#else
constexpr long kIdleActivity = 0;
#endif

bool contains(const std::vector<DesktopScreen::Window> &windows, DesktopScreen::Window window) {
    return std::find(windows.begin(), windows.end(), window) != windows.end();
}

} // namespace

std::unique_ptr<RealDesktop> RealDesktopTest::_shared;

void RealDesktopTest::SetUp() {
    for (const std::string &program : GetParam().programs) {
        if (!isInstalled(program)) {
            GTEST_SKIP() << "needs " << program << ", which is not installed";
        }
    }
    if (!_shared || _shared->kind().name != GetParam().name) {
        _shared.reset();
        _shared = std::make_unique<RealDesktop>(GetParam());
    }
    ASSERT_TRUE(desktop().problem().empty()) << desktop().problem();
    desktop().removePhotographs(testName());
    _managedBefore = screen().managedWindows();
    desktop().forgetOpenedFiles();
    screen().moveTo(desktop().emptyPlace());
}

void RealDesktopTest::TearDown() {
    if (!_shared || !_shared->problem().empty() || IsSkipped()) {
        return;
    }
    if (HasFailure()) {
        photograph("failed");
        desktop().describe(testName() + "-failed");
    }
    closeMenus();
    for (const auto window : _windows) {
        screen().closeWindow(window);
    }
    closeForeignWindows();
    if (_host > 0 && !quitWallpaper()) {
        killWallpaper();
    }
}

double RealDesktopTest::patience() const { return GetParam().isSlow ? 60 : 20; }

std::string RealDesktopTest::testName() {
    const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    return name.substr(0, name.find('/'));
}

void RealDesktopTest::photograph(const std::string &step) {
    desktop().photograph(testName() + "-" + step);
}

void RealDesktopTest::startWallpaper() {
    _host = desktop().startLumivera({"desktop", "--count", kPetals});
    ASSERT_TRUE(outputBecomes([](const json &output) { return output["frames"] > 3; }));
}

bool RealDesktopTest::quitWallpaper() {
    const pid_t host = std::exchange(_host, -1);
    desktop().session().run({"lumivera", "ctl", "quit"});
    const auto hasEnded = [&] { return desktop().session().processes("lumivera").empty(); };
    _host = eventually(hasEnded) ? -1 : host;
    return _host == -1;
}

void RealDesktopTest::killWallpaper() {
    desktop().session().signal(std::exchange(_host, -1), SIGKILL);
    eventually([this] {
        return desktop().session().processes("lumivera").empty() &&
               desktop().session().processes("lumivera-view").empty();
    });
}

json RealDesktopTest::outputs() {
    const auto answer = desktop().session().run({"lumivera", "ctl", "status", "--json"});
    const json parsed = json::parse(answer.output, nullptr, false);
    return parsed.is_object() && parsed.contains("outputs") ? parsed["outputs"] : json::array();
}

bool RealDesktopTest::outputBecomes(const std::function<bool(const json &output)> &condition) {
    return eventually(
        [&] {
            const json all = outputs();
            return !all.empty() && condition(all[0]);
        },
        patience());
}

int RealDesktopTest::taps() {
    const json all = outputs();
    return all.empty() ? -1 : all[0].value("taps", -1);
}

bool RealDesktopTest::showsIcons(const std::vector<ScreenRect> &icons) {
    const auto isShown = [&](const ScreenPicture &picture, const ScreenRect &icon) {
        return desktop().firstPicture().shareKept(picture, icon, RealDesktop::kColour) > kIconShare;
    };
    const auto isShownMostly = [&] {
        int shown = 0;
        for (int count = 0; count < 5; ++count) {
            const ScreenPicture picture = screen().picture();
            shown += std::all_of(icons.begin(), icons.end(),
                                 [&](const ScreenRect &icon) { return isShown(picture, icon); });
            std::this_thread::sleep_for(kBetweenPictures);
        }
        return shown >= 3;
    };
    return eventually(isShownMostly, patience());
}

bool RealDesktopTest::looksAsAtFirst() {
    return eventually(
        [this] {
            return screen().picture().sharedWith(desktop().firstPicture(), screen().workArea()) >
                   0.99;
        },
        patience());
}

bool RealDesktopTest::showsPetals(const ScreenRect &area) {
    return eventually(
        [&] {
            const ScreenPicture before = screen().picture();
            std::this_thread::sleep_for(kBetweenPictures);
            const double same = screen().picture().sharedWith(before, area);
            return same < 0.9995;
        },
        patience());
}

bool RealDesktopTest::showsBackground() {
    const ScreenRect all = screen().bounds();
    const std::string size = std::to_string(all.width) + "x" + std::to_string(all.height);
    const std::string file = desktop().folder() + "/home/background.png";
    desktop().session().run({"lumivera", "render", "Lumivera", "--count", "0", "--frames", "1",
                             "--size", size, "-o", file});
    const ScreenPicture background = ScreenPicture::read(file);
    if (background.isEmpty()) {
        ADD_FAILURE() << "the background cannot be rendered";
        return false;
    }
    return eventually(
        [&] { return screen().picture().sharedWith(background, screen().workArea()) > 0.7; },
        patience());
}

DesktopScreen::Window RealDesktopTest::openWindow(const ScreenRect &rect) {
    const auto window = screen().openWindow("Window of the test", kWindowColour, rect);
    _windows.push_back(window);
    EXPECT_TRUE(eventually([&] { return screen().isShown(window); }, patience()));
    EXPECT_TRUE(eventually([&] { return isWhole(window); }, patience()));
    return window;
}

DesktopScreen::Window RealDesktopTest::openWindow() {
    const ScreenRect area = screen().workArea();
    return openWindow({area.x + area.width / 2, area.y + area.height / 4, 300, 200});
}

bool RealDesktopTest::isWhole(DesktopScreen::Window window) {
    ScreenRect rect = screen().rectOf(window);
    const ScreenRect all = screen().bounds();
    // Window managers round corners.
    rect = {rect.x + 8, rect.y + 8, rect.width - 16, rect.height - 16};
    rect.width = std::min(rect.right(), all.width) - rect.x;
    rect.height = std::min(rect.bottom(), all.height) - rect.y;
    return rect.width > 0 && rect.height > 0 && rect.x >= 0 && rect.y >= 0 &&
           screen().picture().shareOf(kWindowColour, rect) > 0.995;
}

void RealDesktopTest::maximize(DesktopScreen::Window window) {
    if (!GetParam().maximize.empty()) {
        desktop().session().shell(GetParam().maximize);
    }
    screen().request(window, "_NET_WM_STATE",
                     {kAddState, screen().atom("_NET_WM_STATE_MAXIMIZED_VERT"),
                      screen().atom("_NET_WM_STATE_MAXIMIZED_HORZ"), 2});
    const ScreenRect area = screen().workArea();
    EXPECT_TRUE(eventually(
        [&] {
            const ScreenRect rect = screen().rectOf(window);
            return rect.width * 10 >= area.width * 9 && rect.height * 10 >= area.height * 9;
        },
        patience()))
        << "the window manager does not maximize";
}

void RealDesktopTest::makeFullScreen(DesktopScreen::Window window) {
    screen().request(window, "_NET_WM_STATE",
                     {kAddState, screen().atom("_NET_WM_STATE_FULLSCREEN"), 0, 2});
    const ScreenRect all = screen().bounds();
    EXPECT_TRUE(eventually(
        [&] {
            const ScreenRect rect = screen().rectOf(window);
            return rect.width == all.width && rect.height == all.height;
        },
        patience()))
        << "the window manager does not make it full-screen";
}

void RealDesktopTest::expectRestUntilClosed(DesktopScreen::Window window, const std::string &step) {
    ASSERT_TRUE(outputBecomes(rests));
    EXPECT_TRUE(usesNoProcessor());
    photograph(step);
    screen().closeWindow(window);
    ASSERT_TRUE(outputBecomes(runs));
    EXPECT_TRUE(showsPetals());
}

bool RealDesktopTest::usesNoProcessor() {
    std::vector<pid_t> processes = childrenOf(_host);
    processes.push_back(_host);
    const auto activity = [&] {
        std::map<pid_t, std::map<std::string, long>> all;
        for (const pid_t process : processes) {
            all[process] = activitiesOf(process);
        }
        return all;
    };
    // Desktops do things for a while after a window has opened, such as painting its button. The
    // host looks once more three seconds after each of them.
    auto before = activity();
    eventually(
        [&] {
            std::this_thread::sleep_for(std::chrono::seconds(4));
            return std::exchange(before, activity()) == before;
        },
        patience());
    std::this_thread::sleep_for(std::chrono::seconds(5));
    bool rests = true;
    for (auto &[process, threads] : activity()) {
        for (const auto &[thread, switches] : threads) {
            const long used = switches - before[process][thread];
            EXPECT_LE(used, kIdleActivity)
                << "context switches of " << (process == _host ? "the host" : "a view")
                << " in five seconds, thread " << thread;
            rests = rests && used <= kIdleActivity;
        }
    }
    return rests;
}

bool RealDesktopTest::opensTheTextFile() {
    const bool opens =
        desktop().textFile() && opensTheTextFileAt(*desktop().textFile(), patience());
    photograph("double-clicked");
    screen().click(desktop().emptyPlace());
    return opens;
}

/// Tries one icon after the other, the last one first: the desktop's own come before the person's.
/// Some desktops do not hear the first clicks after their start, so there is a second round.
bool RealDesktopTest::findTextFile() {
    const auto &icons = desktop().icons();
    for (std::size_t count = 0; count < 2 * icons.size() && !desktop().textFile(); ++count) {
        const ScreenRect &icon = icons[icons.size() - 1 - count % icons.size()];
        if (opensTheTextFileAt(icon, patience() / 4)) {
            desktop().setTextFile(icon);
        }
        desktop().comesToRest();
        closeForeignWindows();
    }
    return desktop().textFile().has_value();
}

/// Plasma hears clicks on an icon only when the pointer has come to it.
bool RealDesktopTest::opensTheTextFileAt(const ScreenRect &icon, double seconds) {
    desktop().forgetOpenedFiles();
    screen().moveTo(desktop().emptyPlace());
    screen().doubleClick(icon.middle());
    return eventually(
        [this] { return desktop().openedFiles().find("hello.txt") != std::string::npos; }, seconds);
}

/// A line such as " 0: +*DUMMY0 1280/339x800/212+0+0  DUMMY0", in pixels and millimetres.
std::vector<ScreenRect> RealDesktopTest::monitors() {
    std::istringstream lines(desktop().server().run("xrandr --listmonitors"));
    std::vector<ScreenRect> result;
    for (std::string line; std::getline(lines, line);) {
        ScreenRect rect;
        if (std::sscanf(line.c_str(), " %*d: %*s %d/%*dx%d/%*d+%d+%d", &rect.width, &rect.height,
                        &rect.x, &rect.y) == 4) {
            result.push_back(rect);
        }
    }
    return result;
}

void RealDesktopTest::closeForeignWindows() {
    const auto isForeign = [this](DesktopScreen::Window window) {
        return !contains(_managedBefore, window) && !contains(_windows, window) &&
               !isPartOfTheDesktop(window);
    };
    eventually(
        [&] {
            const auto managed = screen().managedWindows();
            for (const auto window : managed) {
                if (isForeign(window)) {
                    screen().closeForeignWindow(window);
                }
            }
            std::this_thread::sleep_for(kBetweenPictures);
            return std::none_of(managed.begin(), managed.end(), isForeign);
        },
        10);
}

bool RealDesktopTest::isPartOfTheDesktop(DesktopScreen::Window window) {
    const auto types = screen().values(window, "_NET_WM_WINDOW_TYPE");
    return contains(types, screen().atom("_NET_WM_WINDOW_TYPE_DESKTOP")) ||
           contains(types, screen().atom("_NET_WM_WINDOW_TYPE_DOCK"));
}

std::vector<DesktopScreen::Window>
RealDesktopTest::newWindows(const std::vector<DesktopScreen::Shown> &before) {
    std::vector<DesktopScreen::Window> found;
    for (const auto &shown : screen().shownWindows()) {
        const bool isOld = std::any_of(before.begin(), before.end(),
                                       [&](const auto &old) { return old.window == shown.window; });
        if (!isOld && shown.rect.width > 40 && shown.rect.height > 40) {
            found.push_back(shown.window);
        }
    }
    return found;
}

bool RealDesktopTest::opensTheMenu() {
    const auto before = screen().shownWindows();
    screen().click(desktop().emptyPlace(), 3);
    const bool opens = eventually([&] { return !newWindows(before).empty(); }, patience());
    std::this_thread::sleep_for(2 * kBetweenPictures);
    photograph("menu");
    screen().pressEscape();
    const bool closes = eventually([&] { return newWindows(before).empty(); }, patience());
    EXPECT_TRUE(closes) << "Escape does not close the menu";
    return opens;
}

void RealDesktopTest::closeMenus() {
    screen().pressEscape();
    screen().pressEscape();
    screen().moveTo(desktop().emptyPlace());
}

int RealDesktopTest::workspaceCount() {
    if (!GetParam().switchWorkspace.empty()) {
        return 2;
    }
    const auto count = screen().values(screen().root(), "_NET_NUMBER_OF_DESKTOPS");
    return count.empty() ? 1 : static_cast<int>(count[0]);
}

bool RealDesktopTest::switchToWorkspace(int workspace) {
    const auto number = static_cast<std::uint32_t>(workspace);
    if (GetParam().switchWorkspace.empty()) {
        screen().request(screen().root(), "_NET_CURRENT_DESKTOP", {number, 0});
    } else {
        desktop().session().run(
            {"sh", "-c", GetParam().switchWorkspace, "sh", std::to_string(workspace)});
    }
    return eventually(
        [&] {
            const auto current = screen().values(screen().root(), "_NET_CURRENT_DESKTOP");
            return !current.empty() && current[0] == number;
        },
        patience());
}

bool RealDesktopTest::restartFileManager() {
    const auto old = desktop().session().processes(GetParam().fileManager);
    EXPECT_FALSE(old.empty());
    for (const pid_t process : old) {
        desktop().session().signal(process, SIGKILL);
    }
    const auto isBack = [&] {
        const auto now = desktop().session().processes(GetParam().fileManager);
        return !now.empty() && std::none_of(now.begin(), now.end(), [&](pid_t process) {
            return std::find(old.begin(), old.end(), process) != old.end();
        });
    };
    if (!GetParam().restart.empty()) {
        desktop().start({"sh", "-c", GetParam().restart});
    }
    return eventually(isBack, patience());
}

bool RealDesktopTest::setShowingDesktop(bool on) {
    screen().request(screen().root(), "_NET_SHOWING_DESKTOP", {on ? 1U : 0U});
    return eventually(
        [&] {
            const auto state = screen().values(screen().root(), "_NET_SHOWING_DESKTOP");
            return !state.empty() && state[0] == (on ? 1U : 0U);
        },
        patience());
}

// Each desktop is a suite of its own, so that it starts once.
#define LUMIVERA_TEST_DESKTOP(NAME)                                                                \
    INSTANTIATE_TEST_SUITE_P(NAME, RealDesktopTest, ::testing::Values(desktopKind(#NAME)),         \
                             [](const auto &info) { return info.param.name; })
LUMIVERA_TEST_DESKTOP(Xfce);
LUMIVERA_TEST_DESKTOP(MATE);
LUMIVERA_TEST_DESKTOP(Cinnamon);
LUMIVERA_TEST_DESKTOP(LXDE);
LUMIVERA_TEST_DESKTOP(LXQt);
LUMIVERA_TEST_DESKTOP(Flashback);
LUMIVERA_TEST_DESKTOP(GNOME);
LUMIVERA_TEST_DESKTOP(Plasma);
LUMIVERA_TEST_DESKTOP(i3);
LUMIVERA_TEST_DESKTOP(bspwm);
LUMIVERA_TEST_DESKTOP(awesome);
LUMIVERA_TEST_DESKTOP(IceWM);
LUMIVERA_TEST_DESKTOP(Fluxbox);
LUMIVERA_TEST_DESKTOP(Openbox);
LUMIVERA_TEST_DESKTOP(FVWM3);
