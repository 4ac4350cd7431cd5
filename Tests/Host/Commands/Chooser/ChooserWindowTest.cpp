#include "Host/Commands/Chooser/ChooserLayout.h"
#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramWindowTest.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <unistd.h>

using ::testing::HasSubstr;
using namespace Lumivera;

namespace {

namespace fs = std::filesystem;

constexpr CGSize kSize{700, 450};

/// The bundles that ship, in the chooser's order.
constexpr NSUInteger kShipped = 4;
constexpr NSUInteger kMaple = 2;

/// Runs the real program with a home folder of its own, the bundles that ship and a damaged one.
class ChooserWindow : public ProgramWindowTest {
  protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(ProgramWindowTest::SetUp());
        if (IsSkipped()) {
            return;
        }
        fs::create_directories(_folder.pathOf("bundles/Zero.bundle"));
        fs::create_directory(_folder.pathOf("runtime"));
        fs::permissions(_folder.pathOf("runtime"), fs::perms::owner_all);
    }

    void TearDown() override {
        if (_host > 0) {
            kill(_host, SIGTERM);
            ProgramRun::waitFor(_host);
        }
        ProgramWindowTest::TearDown();
    }

    std::vector<std::string> surroundings() const {
        return {"XDG_CONFIG_HOME=" + _folder.pathOf("config"),
                "XDG_DATA_HOME=" + _folder.pathOf("data"),
                "XDG_RUNTIME_DIR=" + _folder.pathOf("runtime"),
                "XDG_STATE_HOME=" + _folder.pathOf("state"),
                "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + _folder.pathOf("no-bus")};
    }

    void open(const std::vector<std::string> &more = {}) {
        std::vector<std::string> arguments{"choose", "--size", "700x450"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        start(arguments, surroundings());
        ASSERT_NO_FATAL_FAILURE(findWindow("Choose a wallpaper"));
        focus();
    }

    void startHost() {
        ProgramRun::Options options;
        options.environment = surroundings();
        _host = ProgramRun::begin({"desktop", "--display", "headless"}, options, STDOUT_FILENO,
                                  STDERR_FILENO);
        ASSERT_TRUE(eventually([&] { return statusOfHost().contains("outputs"); }));
    }

    nlohmann::json statusOfHost() const {
        ProgramRun::Options options;
        options.environment = surroundings();
        return nlohmann::json::parse(ProgramRun({"ctl", "status", "--json"}, options).output(),
                                     nullptr, false);
    }

    std::string configuration() const {
        return contentsOf(_folder.pathOf("config/lumivera/lumivera.toml"));
    }

    std::vector<std::uint32_t> pixelsIn(const CGRect &area) const {
        std::vector<std::uint32_t> pixels;
        const auto shown = picture();
        for (auto y = static_cast<NSUInteger>(area.origin.y);
             shown && y < area.origin.y + area.size.height; ++y) {
            for (auto x = static_cast<NSUInteger>(area.origin.x);
                 x < area.origin.x + area.size.width; ++x) {
                pixels.push_back(shown->pixels()[y * shown->width() + x]);
            }
        }
        return pixels;
    }

    /// The rectangle of a card's picture; no petal falls there.
    CGRect pictureOf(const ChooserLayout &layout, NSUInteger card) const {
        CGRect picture = layout.cardPicture(card);
        picture.origin.x += layout.shelf().origin.x;
        picture.origin.y += layout.shelf().origin.y;
        return picture;
    }

    static std::size_t colorsIn(std::vector<std::uint32_t> pixels) {
        std::sort(pixels.begin(), pixels.end());
        return static_cast<std::size_t>(std::unique(pixels.begin(), pixels.end()) - pixels.begin());
    }

    bool isPreviewMoving(const ChooserLayout &layout) const {
        const auto before = pixelsIn(layout.preview());
        return colorsIn(before) > 1000 &&
               eventually([&] { return pixelsIn(layout.preview()) != before; });
    }

    pid_t _host = -1;
};

TEST_F(ChooserWindow, ShowsThumbnailsNamesAndAMovingPreview) {
    open();
    const ChooserLayout layout({kSize, 1}, kShipped);
    EXPECT_TRUE(eventually([&] { return isPreviewMoving(layout); }));
    for (NSUInteger card = 0; card < kShipped; ++card) {
        EXPECT_GT(colorsIn(pixelsIn(pictureOf(layout, card))), 500u) << card;
        CGRect name = pictureOf(layout, card);
        name.origin.y += name.size.height + 6;
        name.size.height = 12;
        EXPECT_GT(colorsIn(pixelsIn(name)), 10u);
    }
    EXPECT_GT(colorsIn(pixelsIn(layout.title())), 10u);
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(ChooserWindow, ConfiguresTheWallpaperThatIsChosenByKeys) {
    ::testing::internal::CaptureStdout();
    open();
    press("Right");
    press("Return");
    EXPECT_EQ(waitForEnd(), 0);
    const std::string output = ::testing::internal::GetCapturedStdout();
    EXPECT_THAT(output, HasSubstr("Maple.bundle is the wallpaper from now on"));
    EXPECT_THAT(output, HasSubstr("start it with `lumivera desktop`"));
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1);
    EXPECT_THAT(configuration(), HasSubstr("Maple.bundle"));
}

TEST_F(ChooserWindow, SelectsThePhotoThatItIsGiven) {
    const std::vector<std::uint8_t> photo =
        PNGBuilder({64, 48, 8, PNGBuilder::Grey}).pixels([](auto...) { return 90u; }).finish();
    open({_folder.write("beach.png", photo)});
    press("Return");
    EXPECT_EQ(waitForEnd(), 0);
    EXPECT_THAT(configuration(), HasSubstr("/data/lumivera/wallpapers/Photo-"));
}

TEST_F(ChooserWindow, TellsTheHostThatRuns) {
    startHost();
    open();
    press("Right");
    press("Return");
    EXPECT_EQ(waitForEnd(), 0);
    EXPECT_TRUE(eventually([&] {
        const auto status = statusOfHost();
        return status["outputs"][0].value("bundle", "").ends_with("Maple.bundle");
    }));
}

TEST_F(ChooserWindow, ChoosesTheCardThatIsClickedTwice) {
    open();
    const ChooserLayout layout({kSize, 1}, kShipped);
    const CGRect card = pictureOf(layout, kMaple);
    click(CGRectGetMidX(card), CGRectGetMidY(card));
    EXPECT_TRUE(eventually([&] { return isPreviewMoving(layout); }));
    EXPECT_EQ(configuration(), "");
    click(CGRectGetMidX(card), CGRectGetMidY(card));
    EXPECT_EQ(waitForEnd(), 0);
    EXPECT_THAT(configuration(), HasSubstr("Maple.bundle"));
}

TEST_F(ChooserWindow, LeavesEverythingAsItWasWhenItIsClosed) {
    open();
    press("Right");
    press("Escape");
    EXPECT_EQ(waitForEnd(), 0);
    EXPECT_EQ(configuration(), "");
}

TEST_F(ChooserWindow, StaysWhenTheConfigurationCannotBeWritten) {
    std::ofstream(_folder.pathOf("config")) << "in the way";
    ::testing::internal::CaptureStderr();
    open();
    press("Return");
    const ChooserLayout layout({kSize, 1}, kShipped);
    EXPECT_TRUE(eventually([&] { return isPreviewMoving(layout); }));
    press("Escape");
    EXPECT_EQ(waitForEnd(), 0);
    const std::string errors = ::testing::internal::GetCapturedStderr();
    EXPECT_THAT(errors, HasSubstr("lumivera: "));
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
}

TEST_F(ChooserWindow, UsesNoBundleWithAProblem) {
    open({_folder.pathOf("bundles")});
    press("Home");
    press("Return");
    press("End");
    press("Return");
    EXPECT_EQ(waitForEnd(), 0);
    EXPECT_THAT(configuration(), HasSubstr("Snow.bundle"));
}

TEST_F(ChooserWindow, TakesNoTimeOfTheProcessorWhileItIsPaused) {
    open();
    const ChooserLayout layout({kSize, 1}, kShipped);
    ASSERT_TRUE(eventually([&] { return isPreviewMoving(layout); }));
    press("space");
    EXPECT_TRUE(comesToRest(process()));
}

TEST(Choose, SaysWhatIsWrongWithAFolder) {
    const ProgramRun run({"choose", "/no/such/folder"});
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    EXPECT_THAT(run.errors(), HasSubstr("/no/such/folder"));
}

TEST(Choose, SaysThatThereIsNoDisplay) {
    const ProgramRun run(
        {"choose"},
        {.environment = {"DISPLAY", "WAYLAND_DISPLAY"}, .largestFile = {}, .folder = {}});
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
}

} // namespace
