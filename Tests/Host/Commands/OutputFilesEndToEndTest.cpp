#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Programs/VirtualScreen.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

namespace fs = std::filesystem;

class OutputFiles : public ::testing::Test {
  protected:
    std::string makePipe(const std::string &name) const {
        const std::string path = _folder.pathOf(name);
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return path;
    }

    TemporaryFolder _folder;
};

TEST_F(OutputFiles, WaitForNobodyToReadFromAPipe) {
    for (const char *option : {"-o", "--trace"}) {
        const std::string pipe = makePipe(std::string(option) + ".png");
        const ProgramRun run({"render", "Lumivera", option, pipe, "--frames", "2"});
        EXPECT_EQ(run.status(), 1);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr("nobody reads from it; start its reader first"));
    }
}

TEST_F(OutputFiles, GoIntoAPipeThatSomebodyReads) {
    const std::string pipe = makePipe("x.png");
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    std::string read;
    std::thread thread([&] {
        char part[4096];
        pollfd state{reader, POLLIN, 0};
        while (poll(&state, 1, 30'000) > 0) {
            const ssize_t count = ::read(reader, part, sizeof part);
            if (count <= 0) {
                break;
            }
            read.append(part, static_cast<std::size_t>(count));
        }
    });
    const ProgramRun run({"render", "Lumivera", "-o", pipe, "--frames", "1"});
    thread.join();
    close(reader);
    EXPECT_EQ(run.status(), 0) << run.errors();
    EXPECT_TRUE(read.starts_with("\x89PNG"));
}

TEST_F(OutputFiles, StayAsTheirOwnerProtectedThem) {
    for (const char *name : {"x.png", "x.webp"}) {
        const std::string path = _folder.write(name, "old");
        chmod(path.c_str(), 0400);
        const ProgramRun run({"render", "Lumivera", "-o", path, "--frames", "1"});
        EXPECT_EQ(run.status(), 1);
        EXPECT_THAT(run.errors(), HasSubstr("is protected from being written"));
        EXPECT_EQ(contentsOf(path), "old");
        struct stat status {};
        stat(path.c_str(), &status);
        EXPECT_EQ(status.st_mode & 0777, 0400U);
    }
}

class SignalledRender : public OutputFiles {
  protected:
    /// Begins a film that is never finished and waits for its unfinished file.
    void begin() {
        const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
        _process =
            ProgramRun::begin({"render", "Lumivera", "-o", _folder.pathOf("x.webp"), "--trace",
                               _folder.pathOf("trace"), "--size", "16x16", "--seconds", "600000"},
                              {}, null, null);
        close(null);
        ASSERT_TRUE(eventually([this] { return fileCount() == 2; }));
    }

    std::size_t fileCount() const {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto &entry : fs::directory_iterator(_folder.path())) {
            ++count;
        }
        return count;
    }

    int end(int signal) {
        kill(_process, signal);
        return ProgramRun::waitFor(_process);
    }

    pid_t _process = -1;
};

TEST_F(SignalledRender, LeavesNothingBehindWhateverEndsIt) {
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGALRM, SIGVTALRM, SIGPROF, SIGXCPU,
                             SIGPWR, SIGSTKFLT}) {
        begin();
        EXPECT_EQ(end(signal), 1) << strsignal(signal);
        EXPECT_TRUE(fs::is_empty(_folder.path())) << strsignal(signal);
    }
}

TEST_F(SignalledRender, GoesOnWhereASignalOnlyTellsSomething) {
    begin();
    for (const int signal : {SIGUSR1, SIGUSR2, SIGIO, SIGPIPE, SIGXFSZ, SIGRTMIN, SIGRTMAX}) {
        kill(_process, signal);
    }
    const long before = activityOf(_process);
    EXPECT_TRUE(eventually([&] { return activityOf(_process) > before; }));
    EXPECT_EQ(fileCount(), 2U);
    EXPECT_EQ(end(SIGTERM), 1);
    EXPECT_TRUE(fs::is_empty(_folder.path()));
}

TEST_F(SignalledRender, OutlivesItsTerminalUnderNohup) {
    std::signal(SIGHUP, SIG_IGN);
    begin();
    std::signal(SIGHUP, SIG_DFL);
    kill(_process, SIGHUP);
    const long before = activityOf(_process);
    EXPECT_TRUE(eventually([&] { return activityOf(_process) > before; }));
    EXPECT_EQ(end(SIGTERM), 1);
}

class NamesInTheCurrentFolder : public OutputFiles {
  protected:
    ProgramRun render(const std::string &bundle) const {
        return ProgramRun({"render", bundle, "--trace", "trace", "--frames", "1"},
                          {.environment = {}, .largestFile = {}, .folder = _folder.path()});
    }
};

TEST_F(NamesInTheCurrentFolder, NeverTakeThePlaceOfAnInstalledBundle) {
    for (const char *name : {"Lumivera", "Lumivera.bundle"}) {
        _folder.makeFolder(name);
        EXPECT_EQ(render(name).status(), 0) << render(name).errors();
        EXPECT_THAT(render(std::string("./") + name).errors(), HasSubstr("has no description"));
    }
}

TEST_F(NamesInTheCurrentFolder, NeedASlash) {
    testBundle(_folder.path(), "StillWallpaper");
    const ProgramRun run = render("Made.bundle");
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine());
    EXPECT_THAT(run.errors(), AllOf(HasSubstr("Made.bundle: no bundle of that name is installed"),
                                    HasSubstr("write ./Made.bundle")));
    EXPECT_EQ(render("./Made.bundle").status(), 0);
    EXPECT_THAT(render("None.bundle").errors(), HasSubstr("None.bundle: there is no such bundle"));
}

constexpr const char *kHostileName = "a\x1b[2J\nb\x7f\u202egnp\u2028\u0085";

TEST_F(OutputFiles, AreListedSoThatATerminalObeysNothing) {
    const std::string bundle = _folder.makeFolder(std::string(kHostileName) + ".bundle");
    std::ofstream(bundle + "/description.plist")
        << propertyList("<key>name</key><string>x&#x7f;\u009b\u202e</string>");
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"list", _folder.path()},
          {"list", "--json", _folder.path()},
          {"render", bundle, "--trace", "/dev/null"},
          {"ctl", "wallpaper", kHostileName}}) {
        const ProgramRun run(arguments);
        for (const std::string &text : {run.output(), run.errors()}) {
            for (const char *harm : {"\x1b", "\x7f", "\u202e", "\u2028", "\u0085", "\u009b"}) {
                EXPECT_THAT(text, Not(HasSubstr(harm))) << arguments[0];
            }
        }
    }
    const ProgramRun run({"list", "--json", _folder.path()});
    EXPECT_EQ(nlohmann::json::parse(run.output())[0]["path"], bundle);
}

} // namespace
