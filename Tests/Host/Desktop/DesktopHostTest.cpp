#include "Host/Desktop/DesktopHost.h"

#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Host/Support/HostError.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Desktop/FakeViews.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>

using namespace Lumivera;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

namespace {

constexpr SurfaceGeometry kGeometry{100, 50, 1};

const std::string kLeft = "LEFT";
const std::string kRight = "RIGHT";

/// Two outputs without a screen, with fake views and simulated time.
class DesktopHostTest : public SimulatedTimeTest {
  protected:
    DesktopHostTest() {
        _options.makeView = _views.maker();
        _options.shippedBundle = "/shipped";
        _options.log = [this](const std::string &line) { _lines.push_back(line); };
        _desktop.addOutput(kLeft, kGeometry);
        _desktop.addOutput(kRight, kGeometry);
    }

    void TearDown() override {
        _host.reset();
        SimulatedTimeTest::TearDown();
    }

    void begin(const std::string &configuration = "") {
        _host.emplace(_desktop, _options, Configuration::parse(configuration, "test.toml"));
        runForSeconds(1);
    }

    void configure(const std::string &text) {
        _host->setConfiguration(Configuration::parse(text, "test.toml"));
        runForSeconds(1);
    }

    /// After the views have told their petals.
    OutputStatus status(const std::string &output) {
        runForSeconds(0.01);
        return _host->status(output).at(0);
    }

    static WallpaperChoice bundle(const std::string &path) {
        WallpaperChoice choice;
        choice.bundle = path;
        return choice;
    }

    static WallpaperChoice petals(NSUInteger count) {
        WallpaperChoice choice;
        choice.petals = count;
        return choice;
    }

    FakeViews _views;
    HeadlessDesktop _desktop;
    DesktopHost::Options _options;
    std::optional<DesktopHost> _host;
    std::vector<std::string> _lines;
};

TEST_F(DesktopHostTest, KeepsWhatItSaysAboutWallpapersInItsLog) {
    _views.behaviours["/shipped"].end = 0.7;
    begin();
    ASSERT_FALSE(_host->log().lines().empty());
    const WallpaperLine &line = _host->log().lines().front();
    EXPECT_EQ(line.source, WallpaperLine::Source::Host);
    EXPECT_EQ(line.output, kLeft);
    EXPECT_EQ(line.bundle, "/shipped");
    EXPECT_EQ(line.text, _lines.front());
}

TEST_F(DesktopHostTest, ShowsTheShippedBundleOnEveryOutputWithoutAnyChoice) {
    begin();
    EXPECT_EQ(status(kLeft).bundle, "/shipped");
    EXPECT_EQ(status(kRight).bundle, "/shipped");
    EXPECT_EQ(_host->status("").size(), 2U);
}

TEST_F(DesktopHostTest, LetsTheNearestChoiceDecide) {
    _options.choice = petals(3);
    begin("wallpaper = \"/file\"\npetals = 1\nspeed = 1\n[output.LEFT]\npetals = 2\n");
    EXPECT_EQ(status(kLeft).bundle, "/file");
    EXPECT_EQ(status(kLeft).petals, 3U) << "the command line's";
    _host->choose("", petals(4));
    EXPECT_EQ(status(kRight).petals, 4U);
    _host->choose(kLeft, petals(5));
    EXPECT_EQ(status(kLeft).petals, 5U);
    EXPECT_EQ(status(kRight).petals, 4U);
    _host->choose("", petals(6));
    EXPECT_EQ(status(kLeft).petals, 6U) << "later, and for all";
}

TEST_F(DesktopHostTest, GivesEachOutputABundleOfItsOwn) {
    _options.outputChoices[kRight] = bundle("/right");
    begin("[output.LEFT]\nwallpaper = \"/left\"");
    EXPECT_EQ(status(kLeft).bundle, "/left");
    EXPECT_EQ(status(kRight).bundle, "/right");
}

TEST_F(DesktopHostTest, TakesBackWhatWasChosen) {
    begin("petals = 12");
    _host->choose("", petals(4));
    _host->choose(kLeft, petals(5));
    _host->forget("", "petals");
    EXPECT_EQ(status(kLeft).petals, 12U);
    EXPECT_EQ(status(kRight).petals, 12U);
}

TEST_F(DesktopHostTest, FollowsTheConfiguration) {
    begin("petals = 12");
    _host->choose("", petals(4));
    configure("petals = 13");
    EXPECT_EQ(status(kLeft).petals, 13U) << "a later change counts";
    configure("wallpaper = \"/other\"");
    EXPECT_EQ(status(kLeft).bundle, "/other");
    EXPECT_EQ(status(kLeft).petals, 30U);
}

TEST_F(DesktopHostTest, BeginsABundleAnewThatIsChosenAgain) {
    begin();
    _host->choose("", bundle("/shipped"));
    runForSeconds(1);
    EXPECT_EQ(_views.made().size(), 4U);
}

TEST_F(DesktopHostTest, RefusesOutputsThatAreNotThere) {
    begin();
    const auto isNamed =
        ThrowsMessage<HostError>("MIDDLE: there is no such output; there are: LEFT, RIGHT");
    EXPECT_THAT([&] { _host->status("MIDDLE"); }, isNamed);
    EXPECT_THAT([&] { _host->setPaused("MIDDLE", true); }, isNamed);
    EXPECT_THAT([&] { _host->choose("MIDDLE", petals(1)); }, isNamed);
    EXPECT_THAT([&] { _host->tap("MIDDLE", {}); }, isNamed);
    EXPECT_THAT([&] { _host->setCover(1, "MIDDLE", SurfaceVisibility::Covered); }, isNamed);
    EXPECT_THAT([&] { _host->saveScreenshot("MIDDLE", "/x.png", [](auto) {}); }, isNamed);
}

TEST_F(DesktopHostTest, PausesEachOutputByItself) {
    begin();
    _desktop.surface(kLeft)->setVisibility(SurfaceVisibility::Covered);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("covered"));
    EXPECT_THAT(status(kRight).pauseReasons, IsEmpty());
    const auto left = _desktop.surface(kLeft)->presentCount();
    const auto right = _desktop.surface(kRight)->presentCount();
    runForSeconds(1);
    EXPECT_LE(_desktop.surface(kLeft)->presentCount(), left + 1);
    EXPECT_GT(_desktop.surface(kRight)->presentCount(), right + 30);
}

TEST_F(DesktopHostTest, BelievesTheProgramThatKnowsWhatCoversAnOutput) {
    begin();
    _host->setCover(1, kLeft, SurfaceVisibility::FullScreen);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("fullscreen"));
    EXPECT_THAT(status(kRight).pauseReasons, IsEmpty());
    _host->setCover(1, kLeft, SurfaceVisibility::Covered);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("covered"));
    _host->setCover(1, kLeft, SurfaceVisibility::Visible);
    _desktop.surface(kLeft)->setVisibility(SurfaceVisibility::Covered);
    EXPECT_THAT(status(kLeft).pauseReasons, IsEmpty());
    _desktop.surface(kLeft)->setVisibility(SurfaceVisibility::Off);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("output-off"));
    _desktop.surface(kLeft)->setVisibility(SurfaceVisibility::Covered);
    _host->setCover(1, kLeft, std::nullopt);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("covered"));
}

TEST_F(DesktopHostTest, ForgetsWhatAProgramHasToldThatIsGone) {
    begin();
    _host->setCover(1, "", SurfaceVisibility::Covered);
    _host->setCover(2, kLeft, SurfaceVisibility::FullScreen);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("fullscreen")) << "the last word counts";
    EXPECT_THAT(status(kRight).pauseReasons, ElementsAre("covered"));
    _host->forgetCovers(2);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("covered"));
    _host->forgetCovers(1);
    EXPECT_THAT(status(kLeft).pauseReasons, IsEmpty());
    EXPECT_THAT(status(kRight).pauseReasons, IsEmpty());
}

TEST_F(DesktopHostTest, ForgetsWhatCoveredAnOutputThatIsGone) {
    begin();
    _host->setCover(1, kLeft, SurfaceVisibility::Covered);
    _desktop.removeOutput(kLeft);
    _desktop.addOutput(kLeft, kGeometry);
    EXPECT_THAT(status(kLeft).pauseReasons, IsEmpty());
}

TEST_F(DesktopHostTest, PausesForTheUser) {
    begin();
    _host->setPaused("", true);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("user"));
    _host->setPaused(kLeft, false);
    EXPECT_THAT(status(kLeft).pauseReasons, IsEmpty());
    EXPECT_THAT(status(kRight).pauseReasons, ElementsAre("user"));
    _desktop.addOutput("NEW", kGeometry);
    EXPECT_THAT(status("NEW").pauseReasons, ElementsAre("user"));
    _host->setPaused("", true);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("user")) << "all means all";
}

TEST_F(DesktopHostTest, PausesAllWhileTheScreenIsLocked) {
    begin();
    SessionState session;
    session.isLocked = true;
    _host->setSession(session);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("locked"));
    EXPECT_THAT(status(kRight).pauseReasons, ElementsAre("locked"));
    _host->setSession({});
    EXPECT_THAT(status(kLeft).pauseReasons, IsEmpty());
}

TEST_F(DesktopHostTest, SparesTheBatteryAsItIsTold) {
    begin("on-battery = \"slow\"");
    SessionState session;
    session.isOnBattery = true;
    _host->setSession(session);
    EXPECT_EQ(status(kLeft).petals, 15U);
    configure("on-battery = \"pause\"");
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("battery"));
    configure("");
    EXPECT_THAT(status(kLeft).pauseReasons, IsEmpty());
    EXPECT_EQ(status(kLeft).petals, 30U);
}

TEST_F(DesktopHostTest, LetsTheCommandLineDecideAboutPauses) {
    _options.pauses.whenCovered = false;
    _options.pauses.onBattery = PauseOptions::OnBattery::Pause;
    begin("on-battery = \"slow\"\npause-when-covered = true");
    _desktop.surface(kLeft)->setVisibility(SurfaceVisibility::Covered);
    EXPECT_THAT(status(kLeft).pauseReasons, IsEmpty());
    SessionState session;
    session.isOnBattery = true;
    _host->setSession(session);
    EXPECT_THAT(status(kLeft).pauseReasons, ElementsAre("battery"));
}

TEST_F(DesktopHostTest, FollowsOutputsThatComeAndGo) {
    begin();
    for (int cycle = 0; cycle < 10; ++cycle) {
        _desktop.removeOutput(kLeft);
        runForSeconds(0.3);
        EXPECT_EQ(_views.views().size(), 1U);
        _desktop.addOutput(kLeft, {200, 80, 2});
        runForSeconds(0.4);
    }
    runForSeconds(1);
    EXPECT_EQ(status(kLeft).width, 200U);
    EXPECT_EQ(status(kLeft).bundle, "/shipped");
    EXPECT_EQ(_views.views().size(), 2U);
}

TEST_F(DesktopHostTest, SavesWhatAnOutputShows) {
    const TemporaryFolder folder;
    begin();
    const std::string path = folder.path() + "/shot.png";
    std::optional<std::optional<std::string>> answer;
    _host->saveScreenshot(kRight, path, [&](auto problem) { answer = problem; });
    EXPECT_TRUE(runUntil([&] { return answer.has_value(); }));
    EXPECT_EQ(*answer, std::nullopt);
    const std::string bytes = contentsOf(path);
    const auto picture =
        CGImageCreateWithData({reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width(), kGeometry.width);
}

TEST_F(DesktopHostTest, SavesPetalsWithoutABackgroundAsATransparentPicture) {
    const TemporaryFolder folder;
    _views.behaviours["/shipped"].ground = 0x80800000;
    _views.backgroundBehaviours["/shipped"].end = 0.1;
    _desktop.surface(kLeft)->setGeometry({100, 50, 1, true});
    begin();
    const std::string path = folder.path() + "/shot.png";
    bool isSaved = false;
    _host->saveScreenshot(kLeft, path, [&](auto) { isSaved = true; });
    EXPECT_TRUE(runUntil([&] { return isSaved; }));
    const std::string bytes = contentsOf(path);
    const auto picture =
        CGImageCreateWithData({reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->pixels()[9], 0x80800000U);
}

TEST_F(DesktopHostTest, TellsTheBackgroundOfEachTransparentOutput) {
    std::vector<std::string> outputs;
    _options.showBackground = [&](const DesktopSurface &surface, const SharedBuffers &picture) {
        outputs.push_back(surface.outputName());
        EXPECT_EQ(surface.outputArea(), (DeviceRect{300, 0, 400, 50}));
        EXPECT_EQ(picture.pixels(0)[9], 0xFF0000FFU);
    };
    _views.backgroundBehaviours["/shipped"].ground = 0xFF0000FF;
    _desktop.surface(kRight)->setGeometry({100, 50, 1, true});
    _desktop.surface(kRight)->moveTo(300, 0);
    begin();
    runForSeconds(1);
    EXPECT_THAT(outputs, ElementsAre(kRight));
}

TEST_F(DesktopHostTest, SaysWhyAPictureCannotBeSaved) {
    begin();
    std::optional<std::string> problem;
    _host->saveScreenshot("", "/nowhere/shot.png", [&](auto why) { problem = why; });
    EXPECT_TRUE(runUntil([&] { return problem.has_value(); }));
    EXPECT_THAT(*problem, HasSubstr("/nowhere/shot.png"));
}

TEST_F(DesktopHostTest, SaysWhyTheDesktopHasGone) {
    begin();
    EXPECT_EQ(_host->lossReason(), "");
    _desktop.lose("the compositor has ended");
    EXPECT_EQ(_host->lossReason(), "the compositor has ended");
    loop().runUntil(Clock::current().deadlineAfter(1000));
    EXPECT_LT(elapsed(), 100) << "the run loop was stopped";
}

} // namespace
