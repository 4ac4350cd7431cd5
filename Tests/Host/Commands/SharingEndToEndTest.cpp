#include "Host/Desktop/Control/ControlServer.h"
#include "Tests/Host/Desktop/Control/FakeTarget.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Programs/ProgramWindowTest.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Host/Wallpapers/MadeZip.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Lumivera;
namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

constexpr const char *kDescription = "<key>name</key><string>First Sleet</string>"
                                     "<key>author</key><string>Anna</string>"
                                     "<key>license</key><string>CC0-1.0</string>";

/// Makes a bundle of pictures in the folder; its path.
std::string makeBundle(const TemporaryFolder &folder, const std::string &petal = "petal") {
    fs::create_directories(folder.pathOf("Sleet.bundle"));
    folder.write("Sleet.bundle/description.plist", propertyList(kDescription));
    folder.write("Sleet.bundle/petal.png", petal);
    return folder.pathOf("Sleet.bundle");
}

/// The real program of a user whose wallpapers are in a folder of the test.
class Sharing : public ::testing::Test {
  protected:
    ProgramRun run(const std::vector<std::string> &arguments) const {
        return {arguments, options()};
    }

    ProgramRun::Options options() const {
        ProgramRun::Options options;
        options.environment = {"XDG_DATA_HOME=" + _folder.pathOf("data"),
                               "XDG_RUNTIME_DIR=" + _folder.path(), "DISPLAY", "WAYLAND_DISPLAY"};
        options.folder = _folder.path();
        return options;
    }

    void expectFailure(const ProgramRun &run, const std::string &words, int status = 1) const {
        EXPECT_EQ(run.status(), status);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr(words));
    }

    std::string installed(const std::string &file = "") const {
        return _folder.pathOf("data/lumivera/wallpapers/Sleet.bundle" + file);
    }

    TemporaryFolder _folder;
};

TEST_F(Sharing, RunsEveryCommandOfItsPage) {
    makeBundle(_folder);
    const auto commands = commandsIn("sharing.md");
    EXPECT_EQ(commands.size(), 3u);
    for (std::vector<std::string> command : commands) {
        if (command.front() != "bundle") {
            // There is no terminal here to ask.
            command.emplace_back("--yes");
        }
        const ProgramRun step = run(command);
        EXPECT_EQ(step.status(), 0) << command.front() << ": " << step.errors();
        EXPECT_EQ(fs::exists(installed()), command.front() == "install");
    }
}

TEST_F(Sharing, GoesFromAFolderThroughAFileToAnotherUsersFolder) {
    makeBundle(_folder);
    const ProgramRun pack = run({"bundle", "pack", "Sleet.bundle"});
    EXPECT_EQ(pack.status(), 0) << pack.errors();
    EXPECT_THAT(pack.output(), HasSubstr("Sleet.lumivera: 2 files, 0.2 KiB, no code"));
    const ProgramRun install = run({"install", "Sleet.lumivera", "--yes"});
    EXPECT_EQ(install.status(), 0) << install.errors();
    EXPECT_THAT(install.output(), AllOf(HasSubstr("First Sleet\n"),
                                        HasSubstr("Author:  Anna, says its description\n"),
                                        HasSubstr("Licence: CC0-1.0, says its description\n"),
                                        HasSubstr("Sleet.lumivera, which is yours\n"),
                                        HasSubstr("Holds:   2 files, 0.2 KiB, no code\n"),
                                        HasSubstr("Sleet is installed.")));
    EXPECT_EQ(contentsOf(installed("/petal.png")), "petal");
    const auto list = nlohmann::json::parse(run({"list", "--json"}).output());
    EXPECT_TRUE(std::any_of(list.begin(), list.end(), [](const auto &entry) {
        return entry["name"] == "First Sleet" && entry["license"] == "CC0-1.0";
    })) << list;
    const ProgramRun uninstall = run({"uninstall", "First Sleet", "--yes"});
    EXPECT_EQ(uninstall.status(), 0) << uninstall.errors();
    EXPECT_FALSE(fs::exists(installed()));
}

TEST_F(Sharing, GivesTheSameBytesForTheSameFolder) {
    makeBundle(_folder);
    run({"bundle", "pack", "./Sleet.bundle", "-o", "1.lumivera"});
    const fs::path petal = _folder.pathOf("Sleet.bundle/petal.png");
    fs::last_write_time(petal, fs::file_time_type());
    fs::permissions(petal, fs::perms::owner_all);
    _folder.write("Sleet.bundle/.DS_Store", "no part of it");
    run({"bundle", "pack", _folder.pathOf("Sleet.bundle"), "-o", "2.lumivera"});
    const std::string bytes = contentsOf(_folder.pathOf("1.lumivera"));
    EXPECT_GT(bytes.size(), 400u);
    EXPECT_EQ(bytes, contentsOf(_folder.pathOf("2.lumivera")));
}

TEST_F(Sharing, TakesTheShippedWallpaperByItsListedName) {
    const ProgramRun pack = run({"bundle", "pack", "Maple Wood"});
    EXPECT_EQ(pack.status(), 0) << pack.errors();
    EXPECT_THAT(pack.output(), AllOf(HasSubstr("Maple.lumivera: "), HasSubstr("no code")));
    expectFailure(run({"install", "Maple.lumivera", "--yes"}), "has that name, too");
    const ProgramRun install = run({"install", "Maple.lumivera", "--yes", "--as", "Autumn"});
    EXPECT_EQ(install.status(), 0) << install.errors();
    const ProgramRun render =
        run({"render", "Autumn", "-o", "x.png", "--frames", "60", "--size", "64x64"});
    EXPECT_EQ(render.status(), 0) << render.errors();
    EXPECT_GT(fs::file_size(_folder.pathOf("x.png")), 100u);
}

TEST_F(Sharing, RendersABundleByItsListedName) {
    const ProgramRun render =
        run({"render", "Blossom Lake", "-o", "x.png", "--frames", "2", "--size", "64x64"});
    EXPECT_EQ(render.status(), 0) << render.errors();
}

TEST_F(Sharing, SaysThatABundleHoldsCode) {
    const std::string path = testBundle(_folder.path(), "TinyWallpaper");
    const ProgramRun pack = run({"bundle", "pack", path});
    EXPECT_THAT(pack.output(),
                AllOf(HasSubstr("with code of its own: test.so"), HasSubstr("has no \"author\""),
                      HasSubstr("has no \"license\"")));
    const ProgramRun install = run({"install", "Made.lumivera", "--yes"});
    EXPECT_THAT(install.output(),
                AllOf(HasSubstr("with code of its own: test.so"), HasSubstr("Author:  not named")));
    const ProgramRun render = run({"render", "Made", "-o", "x.png", "--frames", "2"});
    EXPECT_EQ(render.status(), 0) << render.errors();
}

TEST_F(Sharing, InstallsAFolderToo) {
    makeBundle(_folder);
    EXPECT_EQ(run({"install", "Sleet.bundle", "--yes"}).status(), 0);
    makeBundle(_folder, "new petal");
    const ProgramRun update = run({"install", "Sleet.bundle/", "--yes"});
    EXPECT_THAT(update.output(), HasSubstr("in place of the one that is installed"));
    EXPECT_EQ(contentsOf(installed("/petal.png")), "new petal");
}

TEST_F(Sharing, ShowsNoForeignControlCharactersAndNoEndlessWords) {
    makeBundle(_folder);
    _folder.write("Sleet.bundle/description.plist",
                  propertyList("<key>name</key><string>Sleet&#10;is safe\xe2\x80\xae</string>"
                               "<key>author</key><string>" +
                               std::string(100'000, 'a') + "</string>"));
    const ProgramRun install = run({"install", "Sleet.bundle", "--yes"});
    EXPECT_THAT(install.output(), HasSubstr("Sleet\\nis safe"));
    EXPECT_LT(install.output().size(), 1000u);
    EXPECT_EQ(install.output().find("\xe2\x80\xae"), std::string::npos);
}

TEST_F(Sharing, AsksNobodyWithoutATerminal) {
    makeBundle(_folder);
    expectFailure(run({"install", "Sleet.bundle"}), "Sleet.bundle: nobody can be asked", 2);
    EXPECT_FALSE(fs::exists(installed()));
    run({"install", "Sleet.bundle", "--yes"});
    expectFailure(run({"uninstall", "Sleet"}), "Sleet: nobody can be asked", 2);
    EXPECT_TRUE(fs::exists(installed()));
    expectFailure(run({"install", "Sleet.bundle", "--window"}), "there is no display");
}

TEST_F(Sharing, RefusesAHostileFileInOneLine) {
    MadeZip zip;
    zip.add("mimetype", "application/x-lumivera-bundle");
    zip.add("Sleet.bundle/description.plist", propertyList(""));
    zip.add({.name = "Sleet.bundle/a\x1b[2J", .bytes = "x"});
    expectFailure(run({"install", _folder.write("x.lumivera", zip.bytes()), "--yes"}),
                  "x.lumivera: the entry \"Sleet.bundle/a\\x1b[2J\" ");
    expectFailure(run({"install", _folder.write("y.lumivera", "hello"), "--yes"}),
                  "y.lumivera: is no bundle in one file");
    expectFailure(run({"install", "none.lumivera", "--yes"}), "none.lumivera: cannot be read");
    EXPECT_FALSE(fs::exists(_folder.pathOf("data")));
}

TEST_F(Sharing, LeavesNothingBehindWhenTheDiskIsFull) {
    std::string petal(50'000, 'x');
    std::minstd_rand random;
    std::generate(petal.begin(), petal.end(), [&random] { return static_cast<char>(random()); });
    makeBundle(_folder, petal);
    ProgramRun::Options small = options();
    small.largestFile = 10'000;
    expectFailure(ProgramRun({"install", "Sleet.bundle", "--yes"}, small),
                  "petal.png: cannot be written");
    EXPECT_TRUE(fs::is_empty(_folder.pathOf("data/lumivera/wallpapers")));
    expectFailure(ProgramRun({"bundle", "pack", "Sleet.bundle"}, small),
                  "Sleet.lumivera: cannot be written");
    EXPECT_FALSE(fs::exists(_folder.pathOf("Sleet.lumivera")));
}

TEST_F(Sharing, RemovesOnlyWhatItInstalled) {
    expectFailure(run({"uninstall", "Lumivera", "--yes"}), "is no installed bundle");
    expectFailure(run({"uninstall", "/usr", "--yes"}), "is no installed bundle");
    fs::create_directories(_folder.pathOf("data/lumivera/wallpapers"));
    fs::copy(makeBundle(_folder), installed());
    expectFailure(run({"uninstall", "Sleet", "--yes"}), "was not installed");
    EXPECT_TRUE(fs::exists(installed("/petal.png")));
}

/// A terminal in which the program runs, with a person who types.
class InTerminal : public Sharing {
  protected:
    /// The program's exit status; `_shown` is what was to be seen.
    int answer(const std::vector<std::string> &arguments, const std::string &typed) {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) {
            return -1;
        }
        const int inner = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
        const int input = dup(STDIN_FILENO);
        dup2(inner, STDIN_FILENO);
        const pid_t process = ProgramRun::begin(arguments, options(), inner, STDERR_FILENO);
        dup2(input, STDIN_FILENO);
        close(input);
        close(inner);
        EXPECT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
        char part[4096];
        for (ssize_t count; (count = read(terminal, part, sizeof part)) > 0;) {
            _shown.append(part, static_cast<std::size_t>(count));
        }
        close(terminal);
        return ProgramRun::waitFor(process);
    }

    std::string _shown;
};

TEST_F(InTerminal, APersonIsAskedBefore) {
    makeBundle(_folder);
    for (const char *no : {"\n", "n\n", "no\n", "\4"}) {
        EXPECT_EQ(answer({"install", "Sleet.bundle"}, no), 0);
        EXPECT_FALSE(fs::exists(installed())) << no;
    }
    EXPECT_THAT(_shown, AllOf(HasSubstr("Author:  Anna"), HasSubstr("Install it? [y/N]"),
                              HasSubstr("Nothing was changed.")));
    EXPECT_EQ(answer({"install", "Sleet.bundle"}, "y\n"), 0);
    EXPECT_TRUE(fs::exists(installed()));
    EXPECT_EQ(answer({"uninstall", "Sleet"}, "n\n"), 0);
    EXPECT_TRUE(fs::exists(installed()));
    EXPECT_EQ(answer({"uninstall", "Sleet"}, "yes\n"), 0);
    EXPECT_FALSE(fs::exists(installed()));
}

/// A desktop runs, which the test plays.
class WithADesktop : public Sharing {
  protected:
    struct Result {
        int status;
        std::string errors;
    };

    Result ask(const std::vector<std::string> &arguments) {
        const int output = memfd_create("output", MFD_CLOEXEC);
        const int errors = memfd_create("errors", MFD_CLOEXEC);
        const pid_t process = ProgramRun::begin(arguments, options(), output, errors);
        int status = -1;
        serveUntil([&] { return waitpid(process, &status, WNOHANG) == process; });
        const std::string text = contentsOf("/proc/self/fd/" + std::to_string(errors));
        close(output);
        close(errors);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128, text};
    }

    DescriptorWaiter _waiter;
    FakeTarget _target;
    ControlServer _server{_waiter, _target, "headless", _folder.pathOf("lumivera")};
};

TEST_F(WithADesktop, ABundleThatItShowsStaysUntilAnotherIsChosen) {
    makeBundle(_folder);
    ASSERT_EQ(ask({"install", "Sleet.bundle", "--yes"}).status, 0);
    _target.bundle = installed();
    const Result refused = ask({"uninstall", "Sleet", "--yes"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors,
                HasSubstr("is the wallpaper on DP-1 now; choose another one first"));
    EXPECT_TRUE(fs::exists(installed()));
    _target.bundle = "/w/Lumivera.bundle";
    EXPECT_EQ(ask({"uninstall", "Sleet", "--yes"}).status, 0);
}

TEST_F(WithADesktop, ABundleThatItShowsIsLoadedAgainAfterAnUpdate) {
    makeBundle(_folder);
    ASSERT_EQ(ask({"install", "Sleet.bundle", "--yes"}).status, 0);
    EXPECT_THAT(_target.heard, ElementsAre());
    _target.bundle = installed();
    ASSERT_EQ(ask({"install", "Sleet.bundle", "--yes"}).status, 0);
    EXPECT_THAT(_target.heard, ElementsAre("status", "choose DP-1 wallpaper=" + installed()));
    _target.heard.clear();
    _target.bundle = "/w/Lumivera.bundle";
    ASSERT_EQ(ask({"install", "Sleet.bundle", "--yes"}).status, 0);
    EXPECT_THAT(_target.heard, ElementsAre("status"));
}

/// What a double click starts.
class SharingWindow : public ProgramWindowTest {
  protected:
    void begin() {
        start({"install", "--window", makeBundle(_folder)},
              {"XDG_DATA_HOME=" + _folder.pathOf("data"), "XDG_RUNTIME_DIR=" + _folder.path(),
               "PATH=/nowhere"});
        ASSERT_NO_FATAL_FAILURE(findMessage("Lumivera"));
    }

    bool isInstalled() const {
        return fs::exists(_folder.pathOf("data/lumivera/wallpapers/Sleet.bundle/petal.png"));
    }
};

TEST_F(SharingWindow, InstallsAfterReturnAndSaysSo) {
    ASSERT_NO_FATAL_FAILURE(begin());
    focus();
    press("Return");
    ASSERT_TRUE(eventually([this] { return isInstalled(); }));
    ASSERT_NO_FATAL_FAILURE(findMessage("Lumivera"));
    focus();
    press("Return");
    EXPECT_EQ(waitForEnd(), 0);
}

TEST_F(SharingWindow, ChangesNothingAfterEscape) {
    ASSERT_NO_FATAL_FAILURE(begin());
    focus();
    press("Escape");
    EXPECT_EQ(waitForEnd(), 0);
    EXPECT_FALSE(isInstalled());
}

} // namespace
