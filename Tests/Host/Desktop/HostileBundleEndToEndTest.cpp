#include "Tests/Host/Desktop/DesktopProgramTest.h"
#include "Tests/Host/Desktop/Isolation/BrokenLibraries.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

using nlohmann::json;

/// Everything in a folder, with its size.
std::set<std::string> listing(const std::string &folder) {
    std::set<std::string> found;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        found.insert(entry.path().string() +
                     (entry.is_regular_file() ? std::to_string(entry.file_size()) : ""));
    }
    return found;
}

/// The host with a bundle whose library is hostile.
class HostileBundleEndToEndTest : public DesktopProgramTest {
  protected:
    void SetUp() override { _home = _folder.makeFolder("home"); }

    /// A host that shows a bundle whose library does that.
    void begin(const std::string &deed) {
        _bundle = hostileBundle(_home, deed);
        _before = listing(_home);
        startHeadless({_bundle});
    }

    bool isBundleShown() {
        return statusBecomes([&](json output) { return output["bundle"] == _bundle; });
    }

    /// A wallpaper is shown, nothing was written, and the host ends as it should.
    void expectNothingTakenDown() {
        Retained<CGImage> shown; // none while a view is begun anew
        ASSERT_TRUE(eventually([&] { return (shown = picture()) != nullptr; }));
        EXPECT_EQ(shown->width(), 1920U);
        EXPECT_EQ(listing(_home), _before) << "nothing was written";
        EXPECT_FALSE(std::filesystem::exists("/tmp/written"));
        EXPECT_EQ(quit(), 0);
    }

    std::string _home;
    std::string _bundle;
    std::set<std::string> _before;
};

class BrokenBundleEndToEndTest : public HostileBundleEndToEndTest,
                                 public ::testing::WithParamInterface<BrokenLibrary> {
  protected:
    /// The line of the log that gives the reason; empty when there is none.
    std::string lineOfReason() const {
        std::istringstream lines(log());
        for (std::string line; std::getline(lines, line);) {
            if (GetParam().isToldIn(line)) {
                return line;
            }
        }
        return "";
    }

    void happen(Cause cause) {
        switch (cause) {
        case Cause::Tap:
            ctl({"tap", "10", "10"});
            break;
        case Cause::Pause:
        case Cause::Resume:
            ctl({"pause"});
            ctl({"resume"});
            break;
        case Cause::SpeedChange:
            ctl({"set", "speed", std::to_string(++_speed)});
            break;
        default:
            break;
        }
    }

  private:
    int _speed = 2;
};

TEST_P(BrokenBundleEndToEndTest, TakesNothingDown) {
    const BrokenLibrary &library = GetParam();
    begin(library.deed);
    if (!library.isSeenBy(kDesktop)) {
        EXPECT_TRUE(isBundleShown());
        EXPECT_EQ(lineOfReason(), "") << library.blindness;
        expectNothingTakenDown();
        return;
    }
    if (library.cause != Cause::Showing) {
        EXPECT_TRUE(isBundleShown());
    }
    EXPECT_TRUE(eventually([&] {
        happen(library.cause);
        return !lineOfReason().empty();
    })) << log();
    EXPECT_THAT(lineOfReason(), AllOf(StartsWith("lumivera: "), HasSubstr(_bundle)));
    if (library.cause == Cause::Showing && library.ends(kDesktop) && !library.isSlow) {
        EXPECT_TRUE(statusBecomes([&](json output) {
            return output.value("failedBundle", "") == _bundle &&
                   output["bundle"] == shippedBundle("Lumivera.bundle");
        })) << log();
        EXPECT_THAT(log(), HasSubstr("Lumivera.bundle is shown instead"));
    }
    expectNothingTakenDown();
}

INSTANTIATE_TEST_SUITE_P(Libraries, BrokenBundleEndToEndTest,
                         ::testing::ValuesIn(brokenLibraries()),
                         [](const auto &info) { return nameOfBrokenLibrary(info); });

TEST_F(HostileBundleEndToEndTest, ReachesNothingWhenItLoads) {
    begin("reach-out-in-entry");
    EXPECT_TRUE(isBundleShown());
    EXPECT_TRUE(eventually([&] {
        return log().find(_bundle + " makes the system call socket, which is refused") !=
               std::string::npos;
    })) << log();
    expectNothingTakenDown();
}

TEST_F(HostileBundleEndToEndTest, ReachesNothingInAFrame) {
    begin("reach-out-in-frame");
    EXPECT_TRUE(eventually([&] {
        return log().find(_bundle + " makes the system call socket, which is refused") !=
               std::string::npos;
    })) << log();
    EXPECT_TRUE(statusBecomes([](json output) { return output["frames"] > 150; }));
    expectNothingTakenDown();
}

class HangingBundleEndToEndTest : public DesktopProgramTest {};

TEST_F(HangingBundleEndToEndTest, ShowsAnotherWallpaperWithinThreeSecondsOfOneThatHangs) {
    const auto start = std::chrono::steady_clock::now();
    startHeadless({hostileBundle(folder(), "loop-in-entry")});
    EXPECT_TRUE(statusBecomes(
        [](json output) { return output["bundle"] == shippedBundle("Lumivera.bundle"); }));
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    RecordProperty("seconds", std::to_string(time.count()));
    EXPECT_THAT(log(), Not(HasSubstr("has drawn nothing"))) << "before anybody gave it up";
}

} // namespace
