#include "Tests/Host/Desktops/RealDesktop.h"

#include "Tests/Host/Programs/ProgramRun.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kHeight = 800;

/// Seconds that only a desktop which fails takes to come up, also without a GPU on a busy machine.
constexpr double kStartTime = 120;

/// The picture has come to rest when nothing changes for that long.
constexpr auto kRestTime = std::chrono::milliseconds(1500);

/// The part of the screen that may change all the same, such as a blinking cursor.
constexpr double kRestShare = 0.9995;

/// The part of the work area that the wallpaper covers at least, beside the icons.
constexpr double kWallpaperShare = 0.95;

/// How much of the log a message shows.
constexpr std::size_t kLogTail = 3000;

constexpr const char *kWaitForManager = R"(#!/bin/sh
until xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 0x; do
    sleep 0.1
done
)";

constexpr const char *kTextEditor = R"(#!/bin/sh
printf '%s\n' "$@" >>"$HOME/opened"
)";

constexpr const char *kTextEditorEntry = R"([Desktop Entry]
Type=Application
Name=Editor of the test
Exec=text-editor %F
MimeType=text/plain;
)";

constexpr const char *kSystemBus = R"(<busconfig>
  <type>system</type>
  <listen>unix:path=FOLDER/run/system-bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

/// Speaks for the login manager: there is one session on one seat.
constexpr const char *kLoginManager = R"(
python3 -m dbusmock --system --template logind &
until gdbus call --system --dest org.freedesktop.login1 --object-path /org/freedesktop/login1 \
    --method org.freedesktop.DBus.Mock.AddSession c1 seat0 $(id -u) "$USER" true; do
    sleep 0.1
done
)";

std::string replaced(std::string text, const std::string &word, const std::string &by) {
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += by.size()) {
        text.replace(at, word.size(), by);
    }
    return text;
}

std::string picturesFolder() { return LUMIVERA_BUILD_DIR "/desktops"; }

} // namespace

RealDesktop::RealDesktop(const DesktopKind &kind)
    : _kind(kind), _server(VirtualScreen::withOutputs(_folder.pathOf("xorg.conf"), touchSocket())) {
    chmod(folder().c_str(), 0755);
    _screen.emplace(_server.name());
    if (!_screen->isConnected()) {
        _problem = "Xorg does not start with the driver \"dummy\"";
        return;
    }
    install();
    makeHome();
    _enclosure.emplace(folder(), _server.name());
    if (!session().isOpen()) {
        _problem = "the namespaces are refused: " + contentsOf(_folder.pathOf("enclosure.log"));
        return;
    }
    for (const char *part : {"home", "run"}) {
        session().handOver(_folder.pathOf(part));
    }
    _enclosure->setEnvironment(environment());
    startBuses();
    startSession();
    if (!waitUntilReady()) {
        photograph("not-ready");
        _problem = _kind.name + " did not come up; its log ends so:\n" + log();
    }
}

RealDesktop::~RealDesktop() {
    _screen.reset();
    _enclosure.reset();
}

ScreenPoint RealDesktop::emptyPlace() {
    const ScreenRect area = screen().workArea();
    return {area.x + area.width * 7 / 10, area.y + area.height * 6 / 10};
}

std::vector<ScreenRect> RealDesktop::findIcons() {
    return screen().picture().thingsOn(kColour, screen().workArea());
}

bool RealDesktop::comesToRest() {
    return eventually(
        [this] {
            const ScreenPicture before = screen().picture();
            std::this_thread::sleep_for(kRestTime);
            return screen().picture().sharedWith(before, screen().workArea()) > kRestShare;
        },
        60);
}

std::string RealDesktop::openedFiles() const { return contentsOf(_folder.pathOf("home/opened")); }

void RealDesktop::forgetOpenedFiles() const { fs::remove(_folder.pathOf("home/opened")); }

pid_t RealDesktop::start(const std::vector<std::string> &arguments) {
    return session().start(arguments, _folder.pathOf("session.log"));
}

pid_t RealDesktop::startLumivera(const std::vector<std::string> &arguments) {
    std::vector<std::string> all{"lumivera"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    fs::remove(_folder.pathOf("lumivera.log"));
    return session().start(all, _folder.pathOf("lumivera.log"));
}

std::string RealDesktop::endOf(const std::string &log) const {
    const std::string text = contentsOf(_folder.pathOf(log));
    return text.size() > kLogTail ? text.substr(text.size() - kLogTail) : text;
}

void RealDesktop::photograph(const std::string &step) {
    fs::create_directories(picturesFolder());
    screen().picture().write(picturesFolder() + "/" + _kind.name + "-" + step + ".png");
}

void RealDesktop::describe(const std::string &step) const {
    std::ofstream text(picturesFolder() + "/" + _kind.name + "-" + step + ".txt");
    text << "Lumivera's log:\n" << endOf("lumivera.log");
    for (const char *command :
         {"lumivera ctl status --json", "lumivera doctor", "xprop -root", "xwininfo -root -tree",
          R"(for window in $(xprop -root _NET_CLIENT_LIST_STACKING | sed 's/.*# //' | tr -d ,); do
                 echo "$window"
                 xprop -id "$window" WM_CLASS WM_NAME _NET_WM_WINDOW_TYPE _NET_WM_STATE
             done)"}) {
        text << "\n$ " << command << "\n" << session().shell(command).output;
    }
}

void RealDesktop::removePhotographs(const std::string &step) const {
    std::error_code ignored;
    for (const auto &entry : fs::directory_iterator(picturesFolder(), ignored)) {
        if (entry.path().filename().string().starts_with(_kind.name + "-" + step + "-")) {
            fs::remove(entry.path(), ignored);
        }
    }
}

/// The build folder may be closed to the session's user, so what is tested is installed.
void RealDesktop::install() {
    const std::string log = outputOf("cmake --install '" LUMIVERA_BUILD_DIR "' --prefix '" +
                                     _folder.pathOf("prefix") + "' 2>&1");
    if (!fs::exists(_folder.pathOf("prefix/bin/lumivera"))) {
        _problem = "Lumivera cannot be installed: " + log;
    }
}

void RealDesktop::makeHome() {
    const std::string home = _folder.pathOf("home");
    for (const char *part :
         {"Desktop/Folder", "Pictures", ".config", "bin", ".local/share/applications"}) {
        fs::create_directories(home + "/" + part);
    }
    write("home/Desktop/hello.txt", "hello\n");
    fs::create_symlink("../Pictures", home + "/Desktop/Link");
    ScreenPicture(64, 40, std::vector<std::uint32_t>(64 * 40, kColour))
        .write(home + "/Pictures/own.png");
    write("home/.config/user-dirs.dirs",
          "XDG_DESKTOP_DIR=\"$HOME/Desktop\"\nXDG_PICTURES_DIR=\"$HOME/Pictures\"\n");
    write("home/.config/mimeapps.list", "[Default Applications]\ntext/plain=text-editor.desktop\n");
    write("home/.local/share/applications/text-editor.desktop", kTextEditorEntry);
    write("home/bin/text-editor", kTextEditor, 0755);
    write("home/bin/wait_for_manager", kWaitForManager, 0755);
    hideForeignPrograms();
    fs::create_directory(_folder.pathOf("run"));
    chmod(_folder.pathOf("run").c_str(), 0700);
    write("system-bus.conf", replaced(kSystemBus, "FOLDER", folder()));
    fs::copy_file(LUMIVERA_SOURCE_DIR "/Tests/Support/KnownLeaks.txt",
                  _folder.pathOf("known-leaks"));
}

/// Hides what the packages of other desktops start in every session.
void RealDesktop::hideForeignPrograms() const {
    const fs::path hidden = _folder.pathOf("home/.config/autostart");
    fs::create_directories(hidden);
    std::error_code ignored;
    for (const auto &entry : fs::directory_iterator("/etc/xdg/autostart", ignored)) {
        const std::string name = entry.path().filename();
        if (_kind.helpers.empty() || !name.starts_with(_kind.helpers)) {
            std::ofstream(hidden / name) << "[Desktop Entry]\nType=Application\nHidden=true\n";
        }
    }
}

void RealDesktop::startBuses() {
    start({"dbus-daemon", "--session", "--nofork", "--nopidfile",
           "--address=unix:path=" + folder() + "/run/bus"});
    eventually([this] { return fs::exists(_folder.pathOf("run/bus")); });
    if (_kind.needsLoginManager) {
        start({"dbus-daemon", "--nofork", "--nopidfile",
               "--config-file=" + _folder.pathOf("system-bus.conf")});
        eventually([this] { return fs::exists(_folder.pathOf("run/system-bus")); });
        session().shell(std::string(kLoginManager) + "exit");
    }
}

void RealDesktop::startSession() {
    session().shell(_kind.preparation);
    start({"sh", "-c", _kind.session});
}

bool RealDesktop::waitUntilReady() {
    if (_problem.empty() && _kind.isNested) {
        return waitUntilCompositorIsReady();
    }
    if (!_problem.empty() ||
        !eventually(
            [this] {
                return !screen().values(screen().root(), "_NET_SUPPORTING_WM_CHECK").empty();
            },
            kStartTime)) {
        return false;
    }
    screen().moveTo(emptyPlace());
    const auto isReadyAtLast = [this] {
        // Some window managers show a wallpaper of their own a while after their start.
        if (screen().picture().shareOf(kColour, screen().workArea()) < kWallpaperShare) {
            session().run({"timeout", "60", "sh", "-c", _kind.afterwards});
        }
        return isReady();
    };
    if (!eventually(isReadyAtLast, kStartTime)) {
        return false;
    }
    addLaterEnvironment();
    _firstPicture = screen().picture();
    _icons = _kind.drawsIcons() ? findIcons() : std::vector<ScreenRect>();
    return true;
}

bool RealDesktop::waitUntilCompositorIsReady() {
    const bool isThere = eventually(
        [this] {
            session().shell(_kind.afterwards);
            return fs::is_socket(_folder.pathOf("run/desktop"));
        },
        kStartTime);
    const bool isReady = isThere && comesToRest() && comesToRest();
    _firstPicture = screen().picture();
    return isReady;
}

void RealDesktop::addLaterEnvironment() {
    std::vector<std::string> all = environment();
    std::istringstream lines(session().shell(_kind.laterEnvironment).output);
    for (std::string line; std::getline(lines, line);) {
        all.push_back(line);
    }
    _enclosure->setEnvironment(all);
}

/// The person's wallpaper is there, with the icons and the panel, and nothing moves any more.
bool RealDesktop::isReady() {
    const auto isThere = [this] {
        return screen().picture().shareOf(kColour, screen().workArea()) >= kWallpaperShare &&
               (!_kind.drawsIcons() || findIcons().size() >= kThingsOnTheDesktop) &&
               (!_kind.hasPanel || screen().workArea().height < kHeight);
    };
    return isThere() && comesToRest() && comesToRest() && isThere();
}

std::vector<std::string> RealDesktop::environment() const {
    const std::string home = _folder.pathOf("home");
    std::vector<std::string> all{
        "HOME=" + home,
        "USER=" + session().user(),
        "LOGNAME=" + session().user(),
        "SHELL=/bin/sh",
        "LANG=C.UTF-8",
        "PATH=" + home + "/bin:" + _folder.pathOf("prefix/bin") +
            ":/usr/local/bin:/usr/bin:/bin:/usr/games:/usr/sbin:/sbin",
        "DISPLAY=" + _server.name(),
        "XDG_RUNTIME_DIR=" + _folder.pathOf("run"),
        "XDG_CONFIG_DIRS=/etc/xdg",
        "XDG_DATA_DIRS=/usr/local/share:/usr/share",
        "XDG_SESSION_TYPE=x11",
        "DBUS_SESSION_BUS_ADDRESS=unix:path=" + _folder.pathOf("run/bus"),
        "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + _folder.pathOf("run/system-bus"),
        "LIBGL_ALWAYS_SOFTWARE=1",
        "NO_AT_BRIDGE=1",
        "LSAN_OPTIONS=print_suppressions=0:suppressions=" + _folder.pathOf("known-leaks"),
        "PICTURE=" + home + "/Pictures/own.png",
        "COLOUR=#3a6ea5",
    };
    if (_kind.isNested) {
        all.insert(all.end(),
                   {"WAYLAND_DISPLAY=desktop", "SWAYSOCK=" + _folder.pathOf("run/sway-socket")});
    }
    all.insert(all.end(), _kind.environment.begin(), _kind.environment.end());
    return all;
}

void RealDesktop::write(const std::string &name, const std::string &text, int mode) const {
    _folder.write(name, text);
    chmod(_folder.pathOf(name).c_str(), static_cast<mode_t>(mode));
}
