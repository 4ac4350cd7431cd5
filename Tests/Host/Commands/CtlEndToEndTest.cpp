#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Desktop/Control/ControlServer.h"
#include "Host/Support/ListeningSocket.h"
#include "Tests/Host/Desktop/Control/FakeTarget.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

struct Result {
    int status;
    std::string output;
    std::string errors;
};

std::string textOf(int file) {
    const std::string text = contentsOf("/proc/self/fd/" + std::to_string(file));
    close(file);
    return text;
}

/// The real program, which talks to a control server in the test.
class CtlEndToEndTest : public ::testing::Test {
  protected:
    Result ctl(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "ctl");
        const int output = memfd_create("output", MFD_CLOEXEC);
        const int errors = memfd_create("errors", MFD_CLOEXEC);
        ProgramRun::Options options;
        options.environment = {"XDG_RUNTIME_DIR=" + _folder.path()};
        options.folder = _folder.path();
        const pid_t process = ProgramRun::begin(arguments, options, output, errors);
        int status = -1;
        serveUntil([&] { return waitpid(process, &status, WNOHANG) == process; });
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128, textOf(output), textOf(errors)};
    }

    TemporaryFolder _folder;
    DescriptorWaiter _waiter;
    FakeTarget _target;
    ControlServer _server{_waiter, _target, "headless", _folder.pathOf("lumivera")};
};

TEST_F(CtlEndToEndTest, AsksForEverything) {
    const std::vector<std::vector<std::string>> commands = {{"pause"},
                                                            {"resume", "--output", "DP-1"},
                                                            {"set", "petals", "30"},
                                                            {"tap", "3", "-4"},
                                                            {"offset", "-5.5"},
                                                            {"quit"}};
    for (const auto &command : commands) {
        const Result result = ctl(command);
        EXPECT_EQ(result.status, 0) << command.front() << ": " << result.errors;
        EXPECT_EQ(result.output, "") << command.front();
    }
    EXPECT_THAT(_target.heard, ElementsAre("pause ", "resume DP-1", "choose  petals=30", "tap 3 -4",
                                           "choose  offset=-5.5", "quit"));
}

TEST_F(CtlEndToEndTest, ShowsTheStatusAsATable) {
    _target.pauseReasons = {"covered", "battery"};
    const Result result = ctl({"status"});
    EXPECT_EQ(result.output,
              "OUTPUT  SIZE     LAYER  PETALS  FPS   CPU     STATE                     WALLPAPER\n"
              "DP-1    640x480  over   120     40.0  1.50 s  paused: covered, battery  "
              "/w/Lumivera.bundle\n");
}

TEST_F(CtlEndToEndTest, PrintsTheAnswerForPrograms) {
    for (const std::vector<std::string> &command :
         {std::vector<std::string>{"--json", "status"}, {"status", "--json"}}) {
        const auto answer = nlohmann::json::parse(ctl(command).output);
        EXPECT_EQ(answer["outputs"][0]["petals"], 120);
    }
}

TEST_F(CtlEndToEndTest, MakesPathsAbsolute) {
    std::filesystem::create_directory(_folder.pathOf("My.bundle"));
    ctl({"screenshot", "x.png"});
    ctl({"wallpaper", _folder.pathOf(".") + "/My.bundle"});
    ctl({"set", "wallpaper", "./My.bundle"});
    EXPECT_THAT(_target.heard, ElementsAre("screenshot " + _folder.pathOf("x.png"),
                                           "choose  wallpaper=" + _folder.pathOf("My.bundle"),
                                           "choose  wallpaper=" + _folder.pathOf("My.bundle")));
}

TEST_F(CtlEndToEndTest, AsksForNoBundleThatIsNotThere) {
    for (const char *bundle : {"Mapel", "./My.bundle", "/nonexistent"}) {
        const Result result = ctl({"wallpaper", bundle});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "lumivera: " + std::string(bundle) +
                                     ": there is no such bundle; see `lumivera list` for those "
                                     "that are installed\n");
    }
    EXPECT_THAT(_target.heard, IsEmpty());
}

TEST_F(CtlEndToEndTest, FindsInstalledBundlesByTheirNames) {
    ctl({"wallpaper", "Maple"});
    EXPECT_THAT(_target.heard, ElementsAre("choose  wallpaper=" + shippedBundle("Maple.bundle")));
}

TEST_F(CtlEndToEndTest, FailsInOneLineWhenTheHostRefuses) {
    const Result result = ctl({"pause", "--output", "X"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "lumivera: ctl: X: is no output; use DP-1\n");
}

TEST_F(CtlEndToEndTest, RefusesWhatMakesNoSenseWithoutAsking) {
    const std::vector<std::vector<std::string>> commands = {{"set", "petals", "many"},
                                                            {"set", "wings", "2"},
                                                            {"tap", "nan", "1"},
                                                            {"tap", "1"},
                                                            {"offset", "x"},
                                                            {"fly"},
                                                            {}};
    for (const auto &command : commands) {
        const Result result = ctl(command);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.errors, HasSubstr("lumivera: "));
    }
    EXPECT_THAT(_target.heard, IsEmpty());
}

TEST(Ctl, SaysThatNoHostIsRunning) {
    const TemporaryFolder folder;
    ProgramRun::Options options;
    options.environment = {"XDG_RUNTIME_DIR=" + folder.path()};
    const ProgramRun run({"ctl", "status"}, options);
    EXPECT_EQ(run.status(), 1);
    EXPECT_EQ(run.errors(), "lumivera: " + folder.path() +
                                "/lumivera/control: no host is running; start one with "
                                "`lumivera desktop`\n");
}

/// Runs `lumivera ctl status` with a host that gives this answer to any request.
Result statusFrom(const std::string &answer) {
    const TemporaryFolder folder;
    const std::string place = folder.pathOf("lumivera");
    ControlPlace::makeFolder(place);
    const int host = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{60, 0};
    setsockopt(host, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    EXPECT_TRUE(ListeningSocket::bindTo(ControlPlace::socketIn(place), host));
    EXPECT_EQ(listen(host, 1), 0);
    const int output = memfd_create("output", MFD_CLOEXEC);
    const int errors = memfd_create("errors", MFD_CLOEXEC);
    ProgramRun::Options options;
    options.environment = {"XDG_RUNTIME_DIR=" + folder.path()};
    const pid_t process = ProgramRun::begin({"ctl", "status"}, options, output, errors);
    const int client = accept4(host, nullptr, nullptr, SOCK_CLOEXEC);
    EXPECT_EQ(send(client, (answer + "\n").data(), answer.size() + 1, MSG_NOSIGNAL),
              static_cast<ssize_t>(answer.size() + 1));
    const int status = ProgramRun::waitFor(process);
    close(client);
    close(host);
    return {status, textOf(output), textOf(errors)};
}

TEST(Ctl, ShowsAStatusWithoutItsMembers) {
    EXPECT_EQ(statusFrom(R"({"ok":true})").output, "There is no output.\n");
    const Result result =
        statusFrom(R"({"ok":true,"outputs":[{"pauseReasons":[1]},{"output":3}]})");
    EXPECT_THAT(result.output, HasSubstr("paused: ?"));
    EXPECT_EQ(result.status, 0) << result.errors;
}

TEST(Ctl, SaysBelowTheStatusWhereTheWallpaperIsAndWhatWouldImproveIt) {
    const Result result = statusFrom(
        R"({"ok":true,"outputs":[{"output":"A","layerWords":"behind all windows"},)"
        R"({"output":"B","layerWords":"in front of \u001bIcons","layerRemedy":"start picom"},)"
        R"({"output":"C"}]})");
    EXPECT_THAT(result.output, EndsWith("A: behind all windows\n"
                                        "B: in front of \\x1bIcons; start picom\n"));
}

TEST(Ctl, FailsInOneLineWhenTheAnswerMakesNoSense) {
    const Result result = statusFrom("[");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("the host's answer makes no sense"));
}

} // namespace
