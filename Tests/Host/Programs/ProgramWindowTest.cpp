#include "Tests/Host/Programs/ProgramWindowTest.h"

#include "Platform/CoreGraphics/CGImage.h"

#include <cmath>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>

void ProgramWindowTest::SetUp() {
    if (!isInstalled("Xvfb") || !isInstalled("xdotool") || !isInstalled("import")) {
        GTEST_SKIP() << "needs Xvfb, xdotool and ImageMagick";
    }
    _screen.emplace();
    ASSERT_NE(_screen->name(), "") << "Xvfb does not start";
}

void ProgramWindowTest::TearDown() {
    if (_process > 0) {
        kill(_process, SIGKILL);
        ProgramRun::waitFor(_process);
    }
}

ProgramRun::Options
ProgramWindowTest::optionsWith(const std::vector<std::string> &environment) const {
    ProgramRun::Options options;
    options.environment = {"DISPLAY=" + _screen->name(), "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"};
    options.environment.insert(options.environment.end(), environment.begin(), environment.end());
    options.folder = _folder.path();
    return options;
}

void ProgramWindowTest::start(const std::vector<std::string> &arguments,
                              const std::vector<std::string> &environment) {
    _process = ProgramRun::begin(arguments, optionsWith(environment), STDOUT_FILENO, STDERR_FILENO);
}

void ProgramWindowTest::startWithErrors(const std::vector<std::string> &arguments,
                                        const std::string &name) {
    const int errors =
        open(_folder.pathOf(name).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    _process = ProgramRun::begin(arguments, optionsWith({}), STDOUT_FILENO, errors);
    close(errors);
}

ProgramRun ProgramWindowTest::runToEnd(const std::vector<std::string> &arguments) const {
    return {arguments, optionsWith({})};
}

void ProgramWindowTest::findWindow(const std::string &title) {
    findWindow(title, "xdotool search --onlyvisible --name '" + title + "'");
}

void ProgramWindowTest::findMessage(const std::string &title) {
    findWindow(title, "xwininfo -root -tree | awk '/\"" + title + "\"/ { print $1; exit }'");
}

void ProgramWindowTest::findWindow(const std::string &title, const std::string &command) {
    ASSERT_TRUE(eventually([&] {
        _window = _screen->run(command);
        _window.resize(strcspn(_window.c_str(), "\n"));
        return !_window.empty();
    })) << "no window is called "
        << title;
}

int ProgramWindowTest::end(int signal) {
    kill(_process, signal);
    return waitForEnd();
}

int ProgramWindowTest::waitForEnd() {
    const int status = ProgramRun::waitFor(_process);
    _process = -1;
    return status;
}

void ProgramWindowTest::click(double x, double y) const {
    xdotool("mousemove --window " + _window + " " + std::to_string(std::lround(x)) + " " +
            std::to_string(std::lround(y)) + " click 1");
}

void ProgramWindowTest::resize(int width, int height) const {
    xdotool("windowsize " + _window + " " + std::to_string(width) + " " + std::to_string(height));
}

Retained<CGImage> ProgramWindowTest::picture() const {
    const std::string path = _folder.pathOf("screen.png");
    _screen->run("import -window " + _window + " png:" + path);
    const std::string bytes = contentsOf(path);
    return CGImageCreateWithData(
        {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
}
