#include "Tests/Host/Programs/VirtualScreen.h"

#include "Tests/Host/Programs/ProgramRun.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>

namespace {

[[noreturn]] void execute(const std::vector<std::string> &arguments) {
    std::vector<char *> words;
    for (const std::string &argument : arguments) {
        words.push_back(const_cast<char *>(argument.c_str()));
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
}

constexpr const char *kOutputs = R"(
Section "ServerFlags"
    Option "AutoAddDevices" "false"
    Option "DontVTSwitch" "true"
EndSection
Section "InputDevice"
    Identifier "Touch screen"
    Driver "inputtest"
    Option "SocketPath" "@TOUCH@"
    Option "DeviceType" "Touch"
    Option "TouchCount" "2"
EndSection
Section "Monitor"
    Identifier "Monitor"
    Modeline "1280x800" 70 1280 1296 1312 1344 800 816 832 864
    Option "PreferredMode" "1280x800"
EndSection
Section "Device"
    Identifier "Card"
    Driver "dummy"
    VideoRam 65536
    Option "Monitor-DUMMY0" "Monitor"
EndSection
Section "Screen"
    Identifier "Screen"
    Device "Card"
    DefaultDepth 24
EndSection
Section "ServerLayout"
    Identifier "Layout"
    Screen "Screen"
    InputDevice "Touch screen" "SendCoreEvents"
EndSection
)";

std::vector<std::string> added(std::vector<std::string> arguments,
                               const std::vector<std::string> &more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

/// Root's clients alone may connect to root's server, unless it lets everybody.
std::vector<std::string> accessOptions() {
    return geteuid() == 0 ? std::vector<std::string>{"-ac"} : std::vector<std::string>();
}

} // namespace

bool eventually(const std::function<bool()> &condition, double seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < end) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

bool isInstalled(const std::string &program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

std::string outputOf(const std::string &command) {
    std::FILE *pipe = popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> part;
    for (std::size_t count; (count = fread(part.data(), 1, part.size(), pipe)) > 0;) {
        text.append(part.data(), count);
    }
    pclose(pipe);
    return text;
}

VirtualScreen::VirtualScreen(const std::string &size, const std::vector<std::string> &options)
    : VirtualScreen(added({"Xvfb", "-screen", "0", size}, options)) {}

VirtualScreen VirtualScreen::withOutputs(const std::string &configuration,
                                         const std::string &touchSocket) {
    std::string text = kOutputs;
    const std::string word = "@TOUCH@";
    text.replace(text.find(word), word.size(), touchSocket);
    std::ofstream(configuration) << text;
    return VirtualScreen(
        added({"Xorg", "-config", configuration, "-logfile", "/dev/null"}, accessOptions()));
}

VirtualScreen::VirtualScreen(std::vector<std::string> server) {
    int ends[2];
    if (pipe(ends) != 0) {
        return;
    }
    _server = fork();
    if (_server == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const std::string number = std::to_string(ends[1]);
        const int nothing = open("/dev/null", O_WRONLY);
        dup2(nothing, STDERR_FILENO);
        // Without -noreset the server resets itself when its last client leaves, and refuses
        // connections meanwhile.
        execute(added(std::move(server), {"-displayfd", number, "-nolisten", "tcp", "-noreset"}));
    }
    close(ends[1]);
    char text[16] = {};
    if (read(ends[0], text, sizeof text - 1) > 0) {
        _name = ":" + std::string(text, strcspn(text, "\n"));
    }
    close(ends[0]);
}

void VirtualScreen::showTwoMonitors() const {
    run("sh -c 'xrandr --newmode half 40 640 656 672 704 800 816 832 864; "
        "xrandr --addmode DUMMY0 half; xrandr --addmode DUMMY1 half; "
        "xrandr --output DUMMY0 --mode half --output DUMMY1 --mode half --right-of DUMMY0'");
}

void VirtualScreen::showOneMonitor() const {
    run("xrandr --output DUMMY1 --off --output DUMMY0 --mode 1280x800");
}

VirtualScreen::~VirtualScreen() {
    while (!_programs.empty()) {
        end(_programs.back());
    }
    end();
}

std::string VirtualScreen::run(const std::string &command) const {
    return outputOf("DISPLAY=" + _name + " " + command + " 2>/dev/null");
}

pid_t VirtualScreen::start(const std::vector<std::string> &arguments) {
    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setenv("DISPLAY", _name.c_str(), 1);
        const int nothing = open("/dev/null", O_WRONLY);
        dup2(nothing, STDOUT_FILENO);
        dup2(nothing, STDERR_FILENO);
        execute(arguments);
    }
    _programs.push_back(process);
    return process;
}

void VirtualScreen::end(pid_t process) {
    std::erase(_programs, process);
    kill(process, SIGTERM);
    ProgramRun::waitFor(process);
}

void VirtualScreen::end() {
    if (_server > 0) {
        kill(_server, SIGTERM);
        ProgramRun::waitFor(_server);
        _server = -1;
    }
}
