#include "Tests/Host/Programs/VirtualScreen.h"

#include "Tests/Host/Programs/ProgramRun.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
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

VirtualScreen::VirtualScreen(const std::string &size, const std::vector<std::string> &options) {
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
        std::vector<std::string> arguments{"Xvfb", "-displayfd", number, "-screen", "0",
                                           size,   "-nolisten",  "tcp",  "-noreset"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        execute(arguments);
    }
    close(ends[1]);
    char text[16] = {};
    if (read(ends[0], text, sizeof text - 1) > 0) {
        _name = ":" + std::string(text, strcspn(text, "\n"));
    }
    close(ends[0]);
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
