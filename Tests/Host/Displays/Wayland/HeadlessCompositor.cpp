#include "Tests/Host/Displays/Wayland/HeadlessCompositor.h"

#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr uid_t kNobody = 65534;
constexpr gid_t kNogroup = 65534;
constexpr const char *kSwayConfiguration = "output HEADLESS-1 mode --custom 800x600\n"
                                           "xwayland disable\n"
                                           "focus_follows_mouse no\n"
                                           "default_border none\n";

const char *programOf(HeadlessCompositor::Kind kind) {
    return kind == HeadlessCompositor::Kind::Sway ? "sway" : "phoc";
}

bool canConnect(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isConnected =
        connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(descriptor);
    return isConnected;
}

/// The first file in the folder whose name has that prefix and suffix; empty when there is none.
std::string pathLike(const std::string &folder, const std::string &begin, const std::string &end) {
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        if (name.starts_with(begin) && name.ends_with(end)) {
            return entry.path();
        }
    }
    return "";
}

void prepareChild(const std::string &folder, const std::string &parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nothing = open("/dev/null", O_RDWR);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "WAYLAND_SOCKET", "SWAYSOCK"}) {
        unsetenv(variable);
    }
    setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
    setenv("HOME", folder.c_str(), 1);
    setenv("WLR_BACKENDS", parent.empty() ? "headless" : "wayland", 1);
    if (!parent.empty()) {
        setenv("WAYLAND_DISPLAY", parent.c_str(), 1);
    }
    setenv("WLR_RENDERER", "pixman", 1);
    setenv("WLR_LIBINPUT_NO_DEVICES", "1", 1);
}

} // namespace

bool HeadlessCompositor::isInstalled(Kind kind) {
    return ::isInstalled(programOf(kind)) && ::isInstalled("grim") &&
           (geteuid() != 0 || ::isInstalled("setpriv"));
}

HeadlessCompositor::HeadlessCompositor(Kind kind, const std::string &configuration,
                                       const HeadlessCompositor *parent) {
    start(kind, (kind == Kind::Sway ? kSwayConfiguration : "") + configuration,
          parent ? parent->socket() : "");
    if (!eventually([this] { return findSocket(); })) {
        _socket.clear();
    }
}

HeadlessCompositor::~HeadlessCompositor() {
    ::kill(_process, SIGTERM);
    ProgramRun::waitFor(_process);
}

std::string HeadlessCompositor::swaySocket() const {
    return pathLike(_folder.path(), "sway-ipc", ".sock");
}

std::string HeadlessCompositor::run(const std::string &command) const {
    return outputOf("XDG_RUNTIME_DIR=" + _folder.path() + " WAYLAND_DISPLAY=" + _socket +
                    " SWAYSOCK=" + swaySocket() + " " + command + " 2>/dev/null");
}

void HeadlessCompositor::tell(const std::string &message) const {
    run("swaymsg -q -- '" + message + "'");
}

Retained<CGImage> HeadlessCompositor::picture(const std::string &output) const {
    const std::string path = _folder.pathOf("picture.png");
    std::filesystem::remove(path);
    run("grim -o " + output + " " + path);
    const std::string bytes = contentsOf(path);
    return CGImageCreateWithData(
        {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
}

void HeadlessCompositor::kill() const { ::kill(_process, SIGKILL); }

/// setpriv sets the parent-death signal again, because changing the user resets it.
void HeadlessCompositor::start(Kind kind, const std::string &configuration,
                               const std::string &parent) {
    const std::string path = _folder.write("configuration", configuration);
    const bool isRoot = geteuid() == 0;
    std::vector<const char *> arguments;
    if (isRoot) {
        for (const std::string &lent : {_folder.path(), path}) {
            if (chown(lent.c_str(), kNobody, kNogroup) != 0) {
                return;
            }
        }
        arguments = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                     "--pdeathsig=KILL"};
    }
    for (const char *argument : {programOf(kind), "-C", path.c_str()}) {
        arguments.push_back(argument);
    }
    arguments[arguments.size() - 2] = kind == Kind::Sway ? "-c" : "-C";
    arguments.push_back(nullptr);
    _process = fork();
    if (_process == 0) {
        prepareChild(_folder.path(), parent);
        execvp(arguments[0], const_cast<char *const *>(arguments.data()));
        _exit(127);
    }
}

bool HeadlessCompositor::findSocket() {
    for (const char *name : {"wayland-0", "wayland-1"}) {
        if (canConnect(_folder.pathOf(name))) {
            _socket = _folder.pathOf(name);
            return true;
        }
    }
    return false;
}
