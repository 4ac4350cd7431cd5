#include "Tests/Host/Desktop/DesktopProgramTest.h"

#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace {

using nlohmann::json;

constexpr auto kIdleTime = std::chrono::seconds(10);

/// The activity that an idle process may show in that time: the thread sanitizer has a thread of
/// its own that wakes ten times a second.
#ifdef __SANITIZE_THREAD__
constexpr long kIdleActivity = 1;
#else
constexpr long kIdleActivity = 0;
#endif

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
            "XDG_DATA_HOME=" + folder() + "/data",
            "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + folder() + "/no-bus",
            "DISPLAY",
            "WAYLAND_DISPLAY",
            "WAYLAND_SOCKET",
            "SWAYSOCK"};
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

void DesktopProgramTest::startWithLog(const std::vector<std::string> &arguments, int log) {
    std::vector<std::string> all{"desktop"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    ProgramRun::Options options;
    options.environment = surroundings();
    _process = ProgramRun::begin(all, options, log, log);
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
    return eventually(
        [&] {
            const json output = status();
            return !output.empty() && condition(output);
        },
        seconds);
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

std::map<std::string, long> DesktopProgramTest::activities() const {
    std::map<std::string, long> activities = activitiesOf(_process);
    for (const pid_t child : children()) {
        activities.merge(activitiesOf(child));
    }
    return activities;
}

::testing::AssertionResult DesktopProgramTest::usesNoProcessor() const {
    auto before = activities();
    eventually([&] {
        std::this_thread::sleep_for(std::chrono::seconds(3));
        return std::exchange(before, activities()) == before;
    });
    std::this_thread::sleep_for(kIdleTime);
    ::testing::AssertionResult result = ::testing::AssertionSuccess();
    for (const auto &[thread, activity] : activities()) {
        const long used = activity - before[thread];
        if (used > kIdleActivity) {
            result = (result ? ::testing::AssertionFailure() : result)
                     << "\"" << thread << "\" was active " << used << " times; ";
        }
    }
    return result;
}
