#include "Host/Desktop/Backgrounds/ToolProcesses.h"

#include "Host/Support/EndedChildren.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Support/Processes.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <poll.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

using WallClock = std::chrono::steady_clock;

constexpr std::size_t kMaxOutput = std::size_t{1} << 20;

std::string nameOf(const std::string &variable) { return variable.substr(0, variable.find('=')); }

/// Our environment with these variables instead of those of the same name.
std::vector<std::string> environmentWith(const std::vector<std::string> &variables) {
    std::vector<std::string> environment = ownEnvironment();
    for (const std::string &variable : variables) {
        std::erase_if(environment,
                      [&](const std::string &own) { return nameOf(own) == nameOf(variable); });
        environment.push_back(variable);
    }
    return environment;
}

std::string contentsOf(int file) {
    const off_t size = lseek(file, 0, SEEK_END);
    std::string text(std::min(kMaxOutput, static_cast<std::size_t>(std::max<off_t>(size, 0))),
                     '\0');
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
}

std::string lastLineOf(std::string text) {
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return inOneLine(text.substr(text.rfind('\n') + 1));
}

std::string lateProblem(NSTimeInterval seconds) {
    return "did not end within " + textOfNumber(seconds) + " s";
}

} // namespace

ToolProcesses::ToolProcesses(DescriptorWatch &waiter, NSTimeInterval longestRun)
    : _waiter(waiter), _longestRun(longestRun), _start([this] { startNext(); }), _deadline([this] {
          killTool();
          endTool();
      }) {}

ToolProcesses::~ToolProcesses() {
    if (isRunning()) {
        killTool();
        takeResult();
    }
}

void ToolProcesses::run(ToolCall call, Handler handler) {
    _requests.push_back({std::move(call), std::move(handler)});
    if (!isRunning() && !_start.isPending()) {
        _start.callAfter(0);
    }
}

bool ToolProcesses::finish(NSTimeInterval seconds) {
    const auto end = WallClock::now() + std::chrono::duration<NSTimeInterval>(seconds);
    while (isRunning() || !_requests.empty()) {
        if (!isRunning()) {
            startNext();
            continue;
        }
        const std::chrono::duration<double, std::milli> left = end - WallClock::now();
        pollfd tool{_processDescriptor, POLLIN, 0};
        if (left.count() <= 0) {
            killTool();
            takeResult();
            _requests.clear();
            return false;
        }
        if (poll(&tool, 1, static_cast<int>(left.count()) + 1) > 0) {
            endTool();
        }
    }
    _start.cancel();
    return true;
}

void ToolProcesses::startNext() {
    if (isRunning() || _requests.empty()) {
        return;
    }
    const std::string problem = start(_requests.front().call);
    if (!problem.empty()) {
        report({{}, _requests.front().call.arguments.front() + ": " + problem});
    }
}

/// Files in memory take what the tool prints: nobody has to read them while it runs. Returns what
/// went wrong.
std::string ToolProcesses::start(const ToolCall &call) {
    _output = memfd_create("output", MFD_CLOEXEC);
    _errors = memfd_create("errors", MFD_CLOEXEC);
    std::vector<std::string> variables = call.variables;
    variables.emplace_back("LC_ALL=C.UTF-8");
    _process = _output < 0 || _errors < 0 ? -errno
                                          : spawnProgram(call.arguments, {-1, _output, _errors},
                                                         environmentWith(variables));
    if (_process < 0) {
        const int error = -std::exchange(_process, -1);
        closeFiles();
        errno = error;
        return error == ENOENT ? "is not installed" : "cannot be started: " + systemErrorText();
    }
    _processDescriptor = static_cast<int>(syscall(SYS_pidfd_open, _process, 0));
    if (_processDescriptor < 0) {
        const std::string reason = systemErrorText();
        killTool();
        takeResult();
        return "cannot be waited for: " + reason;
    }
    _isLate = false;
    _waiter.add(*this);
    _deadline.callAfter(_longestRun);
    return {};
}

void ToolProcesses::endTool() {
    if (isRunning()) {
        report(takeResult());
    }
}

void ToolProcesses::killTool() {
    _isLate = true;
    kill(-_process, SIGKILL);
}

/// The process has ended or was killed.
ToolResult ToolProcesses::takeResult() {
    const std::optional<int> status = EndedChildren::take(_process);
    ToolResult result{contentsOf(_output), {}};
    if (!status || !WIFEXITED(*status) || WEXITSTATUS(*status) != 0) {
        const std::string line = lastLineOf(contentsOf(_errors));
        const std::string name =
            _requests.empty() ? "" : _requests.front().call.arguments.front() + ": ";
        result.problem = name + (_isLate         ? lateProblem(_longestRun)
                                 : !line.empty() ? line
                                                 : "failed without saying why");
    }
    _process = -1;
    closeFiles();
    return result;
}

void ToolProcesses::closeFiles() {
    _deadline.cancel();
    if (_processDescriptor >= 0) {
        _waiter.remove(*this);
    }
    for (int *file : {&_processDescriptor, &_output, &_errors}) {
        if (*file >= 0) {
            close(std::exchange(*file, -1));
        }
    }
}

/// The handler may ask for more calls.
void ToolProcesses::report(const ToolResult &result) {
    const Handler handler = std::move(_requests.front().handler);
    _requests.pop_front();
    if (!_requests.empty()) {
        _start.callAfter(0);
    }
    handler(result);
}

} // namespace Lumivera
