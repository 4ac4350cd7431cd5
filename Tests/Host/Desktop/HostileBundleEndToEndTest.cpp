#include "Tests/Host/Desktop/DesktopProgramTest.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <string_view>

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

using nlohmann::json;

struct Deed {
    const char *name;

    /// Text that the log must contain.
    const char *reason;
};

void PrintTo(const Deed &deed, std::ostream *stream) { *stream << deed.name; }

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
class HostileBundleEndToEndTest : public DesktopProgramTest,
                                  public ::testing::WithParamInterface<Deed> {};

TEST_P(HostileBundleEndToEndTest, TakesNothingDown) {
    if (!kIsMemoryLimited && std::string_view(GetParam().name).starts_with("allocate")) {
        GTEST_SKIP() << "needs a limit of memory, so no address or thread sanitizer";
    }
    const std::string home = folder() + "/home";
    const std::string bundle = hostileBundle(home, GetParam().name);
    const auto before = listing(home);
    startHeadless({bundle});
    const std::string_view name = GetParam().name;
    if (name.starts_with("reach-out") || name.starts_with("print")) {
        const std::string line = bundle + GetParam().reason;
        EXPECT_TRUE(statusBecomes([&](json output) {
            return output["frames"] > 150 && log().find(line) != std::string::npos;
        })) << log();
        EXPECT_EQ(status()["bundle"], bundle);
    } else {
        EXPECT_TRUE(statusBecomes([&](json output) {
            return output.value("failedBundle", "") == bundle &&
                   output["bundle"] == shippedBundle("Lumivera.bundle");
        })) << log();
        EXPECT_THAT(log(), HasSubstr(bundle));
        EXPECT_THAT(log(), HasSubstr(GetParam().reason));
        EXPECT_THAT(log(), HasSubstr("Lumivera.bundle is shown instead"));
    }
    const auto shown = picture();
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->width(), 1920U);
    EXPECT_EQ(listing(home), before) << "nothing was written";
    EXPECT_FALSE(std::filesystem::exists("/tmp/written"));
    EXPECT_EQ(quit(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Deeds, HostileBundleEndToEndTest,
    ::testing::Values(
        Deed{"crash-in-entry", "signal 11"}, Deed{"crash-in-init", "signal 11"},
        Deed{"crash-in-frame", "signal 11"}, Deed{"loop-in-entry", "has drawn nothing for 5 s"},
        Deed{"loop-in-init", "has drawn nothing for 5 s"},
        Deed{"loop-in-frame", "has drawn nothing for 5 s"}, Deed{"allocate-in-entry", "memory"},
        Deed{"allocate-in-init", ""}, Deed{"allocate-in-frame", ""},
        Deed{"exit-in-entry", "status 7"}, Deed{"exit-in-init", "status 7"},
        Deed{"exit-in-frame", "status 7"}, Deed{"throw-in-entry", "a wallpaper's own mistake"},
        Deed{"throw-in-init", "a wallpaper's own mistake"},
        Deed{"throw-in-frame",
             "threw std::runtime_error in doAnimating: a wallpaper's own mistake"},
        Deed{"throw-number-in-frame", "threw int in doAnimating"},
        Deed{"nothing-in-return", "gave no view for the bundle"},
        Deed{"number-in-return", "in the use of what getDeskTopViewInstance gave"},
        Deed{"plain-view-in-return", "gave an object of another class than DeskTopView: UIView"},
        Deed{"other-view-in-return", "gave an object of another class"},
        Deed{"dangling-in-return", "in the use of what getDeskTopViewInstance gave"},
        Deed{"print-in-entry", " prints more than 4 KiB"},
        Deed{"print-in-frame", " prints more than 4 KiB"},
        Deed{"reach-out-in-entry", " makes the system call socket, which is refused"},
        Deed{"reach-out-in-frame", " makes the system call socket, which is refused"}),
    [](const auto &info) {
        std::string name = info.param.name;
        name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
        return name;
    });

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
