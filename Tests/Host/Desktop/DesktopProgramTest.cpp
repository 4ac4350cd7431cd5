#include "Tests/Host/Desktop/DesktopProgramTest.h"

#include "Platform/CoreGraphics/CGImageDecoding.h"
#include "Tests/Host/VirtualScreen.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace {

using nlohmann::json;

constexpr auto kIdleTime = std::chrono::seconds(10);

/// What a process uses in that time though it does nothing: the thread sanitizer has a thread of
/// its own that wakes ten times a second.
#ifdef __SANITIZE_THREAD__
constexpr long kIdleTicks = 1;
#else
constexpr long kIdleTicks = 0;
#endif

/// Numbers of a process's status line behind its name, from the third field on.
std::vector<std::string> fieldsOf(int process) {
    const std::string line = contentsOf("/proc/" + std::to_string(process) + "/stat");
    std::istringstream fields(line.substr(std::min(line.rfind(')') + 1, line.size())));
    std::vector<std::string> texts;
    for (std::string field; fields >> field;) {
        texts.push_back(field);
    }
    return texts;
}

/// In ticks, by its own threads. 0 when it has gone.
long ticksOf(int process) {
    const auto fields = fieldsOf(process);
    return fields.size() > 12 ? std::atol(fields[11].c_str()) + std::atol(fields[12].c_str()) : 0;
}

} // namespace

void DesktopProgramTest::TearDown() {
    if (_process > 0) {
        end(SIGKILL);
    }
}

std::vector<std::string> DesktopProgramTest::surroundings() const {
    return {"XDG_RUNTIME_DIR=" + folder(),
            "XDG_STATE_HOME=" + folder() + "/state",
            "XDG_CONFIG_HOME=" + folder() + "/config",
            "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + folder() + "/no-bus",
            "DISPLAY",
            "WAYLAND_DISPLAY"};
}

void DesktopProgramTest::start(const std::vector<std::string> &arguments,
                               const std::vector<std::string> &environment) {
    std::vector<std::string> all{"desktop"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    ProgramRun::Options options;
    options.environment = surroundings();
    options.environment.insert(options.environment.end(), environment.begin(), environment.end());
    const int log =
        open((folder() + "/log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    _process = ProgramRun::begin(all, options, log, log);
    close(log);
}

void DesktopProgramTest::startHeadless(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--display", "headless"});
    start(arguments);
}

int DesktopProgramTest::quit() {
    EXPECT_EQ(ctl({"quit"}).status(), 0);
    return ProgramRun::waitFor(std::exchange(_process, -1));
}

int DesktopProgramTest::end(int signal) {
    kill(_process, signal);
    return ProgramRun::waitFor(std::exchange(_process, -1));
}

int DesktopProgramTest::waitForEnd() { return ProgramRun::waitFor(std::exchange(_process, -1)); }

ProgramRun DesktopProgramTest::ctl(std::vector<std::string> arguments) {
    const std::string socket = folder() + "/lumivera/control";
    eventually([&] { return access(socket.c_str(), F_OK) == 0; });
    arguments.insert(arguments.begin(), "ctl");
    ProgramRun::Options options;
    options.environment = surroundings();
    return ProgramRun(arguments, options);
}

json DesktopProgramTest::status() {
    const ProgramRun answer = ctl({"status", "--json"});
    const json parsed = json::parse(answer.output(), nullptr, false);
    if (!parsed.is_object() || !parsed.contains("outputs") || parsed["outputs"].empty()) {
        return json::object();
    }
    return parsed["outputs"][0];
}

bool DesktopProgramTest::statusBecomes(const std::function<bool(json output)> &condition,
                                       double seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < end) {
        const json output = status();
        if (!output.empty() && condition(output)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

Retained<CGImage> DesktopProgramTest::picture() {
    const std::string path = folder() + "/picture" + std::to_string(++_pictureNumber) + ".png";
    if (ctl({"screenshot", path}).status() != 0) {
        return nullptr;
    }
    const std::string bytes = contentsOf(path);
    return CGImageCreateWithData(
        {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
}

std::vector<int> DesktopProgramTest::children() const {
    std::vector<int> found;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const int process = std::atoi(entry.path().filename().c_str());
        const auto fields = process > 0 ? fieldsOf(process) : std::vector<std::string>();
        if (fields.size() > 1 && std::atoi(fields[1].c_str()) == _process) {
            found.push_back(process);
        }
    }
    return found;
}

long DesktopProgramTest::cpuTicks() const {
    long ticks = ticksOf(_process);
    for (const int child : children()) {
        ticks += ticksOf(child);
    }
    return ticks;
}

bool DesktopProgramTest::usesNoProcessor() const {
    long used = cpuTicks();
    eventually([&] {
        std::this_thread::sleep_for(std::chrono::seconds(3));
        return std::exchange(used, cpuTicks()) == used;
    });
    std::this_thread::sleep_for(kIdleTime);
    const long processes = 1 + static_cast<long>(children().size());
    return cpuTicks() - used <= processes * kIdleTicks;
}
