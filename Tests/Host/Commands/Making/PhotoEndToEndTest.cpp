#include "Tests/Host/Desktop/DesktopProgramTest.h"
#include "Tests/Host/Programs/ProgramWindowTest.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"

#include <gmock/gmock.h>

#include <filesystem>

using ::testing::HasSubstr;

// A photo in place of a bundle.

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

std::vector<std::uint8_t> photo(unsigned shade) {
    return PNGBuilder({64, 48, 8, PNGBuilder::Grey})
        .pixels([=](auto...) { return shade; })
        .finish();
}

/// The bundles in the user's wallpapers folder.
std::vector<std::string> bundlesIn(const std::string &data) {
    std::vector<std::string> bundles;
    for (const auto &entry : fs::directory_iterator(data + "/lumivera/wallpapers")) {
        bundles.push_back(entry.path().string());
    }
    return bundles;
}

class PhotoOnDesktop : public DesktopProgramTest {
  protected:
    std::string data() const { return folder() + "/data"; }

    ProgramRun::Options options() const {
        ProgramRun::Options options;
        options.environment = {"XDG_DATA_HOME=" + data()};
        options.folder = folder();
        return options;
    }
};

TEST_F(PhotoOnDesktop, IsShownByTheDesktop) {
    const std::string path = _folder.write("my beach.PNG", photo(90));
    startHeadless({path});
    EXPECT_TRUE(statusBecomes([&](json output) {
        return output.contains("bundle") && output["bundle"].is_string() &&
               output["bundle"].get<std::string>().starts_with(data());
    })) << log();
    ASSERT_EQ(bundlesIn(data()).size(), 1u);
    EXPECT_EQ(quit(), 0);
    EXPECT_THAT(contentsOf(bundlesIn(data())[0] + "/description.plist"), HasSubstr("my beach"));
}

TEST_F(PhotoOnDesktop, GivesTheSameBundleAgain) {
    _folder.write("a.png", photo(90));
    _folder.write("b.png", photo(91));
    const auto render = [this](const std::string &path) {
        const ProgramRun run({"render", path, "--frames", "1", "--trace", "/dev/null"}, options());
        EXPECT_EQ(run.status(), 0) << run.errors();
    };
    render("a.png");
    const auto made = bundlesIn(data());
    ASSERT_EQ(made.size(), 1u);
    const auto time = fs::last_write_time(made[0] + "/description.plist");
    fs::copy_file(folder() + "/a.png", folder() + "/copy.png");
    render("copy.png");
    EXPECT_EQ(bundlesIn(data()), made);
    EXPECT_EQ(fs::last_write_time(made[0] + "/description.plist"), time) << "not made anew";
    fs::remove(made[0] + "/description.plist");
    render("a.png");
    EXPECT_EQ(bundlesIn(data()), made) << "a damaged one is replaced";
    render("b.png");
    EXPECT_EQ(bundlesIn(data()).size(), 2u);
}

TEST_F(PhotoOnDesktop, BecomesOneBundleHoweverManyShowItAtOnce) {
    _folder.write("a.png", photo(90));
    std::vector<pid_t> processes;
    for (int i = 0; i < 4; ++i) {
        processes.push_back(ProgramRun::begin(
            {"render", "a.png", "--frames", "1", "--trace", "/dev/null"}, options(), 1, 2));
    }
    for (const pid_t process : processes) {
        EXPECT_EQ(ProgramRun::waitFor(process), 0);
    }
    EXPECT_EQ(bundlesIn(data()).size(), 1u);
}

TEST_F(PhotoOnDesktop, CanBeRemovedLikeWhatWasInstalled) {
    _folder.write("a.png", photo(90));
    const ProgramRun render({"render", "a.png", "--frames", "1", "--trace", "/dev/null"},
                            options());
    ASSERT_EQ(bundlesIn(data()).size(), 1u) << render.errors();
    const ProgramRun run({"uninstall", "--yes", bundlesIn(data())[0]}, options());
    EXPECT_EQ(run.status(), 0) << run.errors();
    EXPECT_TRUE(bundlesIn(data()).empty());
}

TEST_F(PhotoOnDesktop, TellsWhyAPhotoCannotBeTaken) {
    _folder.write("text.jpg", "text");
    for (const std::string command : {"run", "desktop", "choose"}) {
        const ProgramRun text({command, "text.jpg"}, options());
        EXPECT_EQ(text.status(), 1) << command;
        EXPECT_TRUE(text.saysOneLine()) << text.errors();
        EXPECT_THAT(text.errors(), HasSubstr("text.jpg: is damaged, too large or no picture"));
        const ProgramRun none({command, "none.jpg"}, options());
        EXPECT_EQ(none.status(), 1) << command;
        EXPECT_THAT(none.errors(), HasSubstr("none.jpg: cannot be read"));
    }
    EXPECT_TRUE(bundlesIn(data()).empty());
    _folder.write("good.png", photo(3));
    _folder.write("file", "no folder");
    ProgramRun::Options closed = options();
    closed.environment = {"XDG_DATA_HOME=" + folder() + "/file"};
    const ProgramRun run({"run", "good.png"}, closed);
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    EXPECT_THAT(run.errors(), HasSubstr("cannot be made: Not a directory"));
}

TEST_F(PhotoOnDesktop, IsShownOnDemand) {
    const std::string path = _folder.write("a.webp.png", photo(7));
    startHeadless({});
    EXPECT_TRUE(statusBecomes([](json output) { return output.contains("bundle"); }));
    const ProgramRun run = ctl({"wallpaper", path});
    EXPECT_EQ(run.status(), 0) << run.errors();
    EXPECT_TRUE(statusBecomes([&](json output) {
        return output["bundle"].is_string() &&
               output["bundle"].get<std::string>().find("/Photo-") != std::string::npos;
    })) << log();
    EXPECT_EQ(quit(), 0);
}

class PhotoInWindow : public ProgramWindowTest {};

TEST_F(PhotoInWindow, IsShownUnderItsName) {
    const std::string path = _folder.write("A beach.png", photo(120));
    start({"run", path, "--size", "300x200"}, {"XDG_DATA_HOME=" + _folder.pathOf("data")});
    ASSERT_NO_FATAL_FAILURE(findWindow("A beach"));
}

} // namespace
