#include "Animation/Common/ImageSet.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Playing/WallpaperStage.h"
#include "Host/Rendering/RenderingSession.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

using Pixels = std::vector<std::uint32_t>;

Pixels pixelsOf(const UIImage *image) {
    if (!image) {
        return {};
    }
    const CGImage &bitmap = *image->bitmap();
    return {bitmap.pixels(), bitmap.pixels() + bitmap.width() * bitmap.height()};
}

class Tint : public ::testing::Test {
  protected:
    static WallpaperSettings tealSettings() {
        WallpaperSettings settings;
        settings.tint = CGColor{0, 0.5, 0.5, 1};
        return settings;
    }

    /// The background's pixels after it was tinted once.
    Pixels expected() const {
        const auto color = UIColor::colorWithRed_green_blue_alpha(0, 0.5, 0.5, 1);
        const auto image = UIImage::imageWithContentsOfFile(_path + "/lumivera_background_.png");
        return pixelsOf(ImageSet::colorizeImage_withColor(image, color.get()).get());
    }

    static Pixels background(const DeskTopView &view) {
        return pixelsOf(view.bgView()->image().get());
    }

    LogRecorder _log;
    const std::string _path = shippedBundle("Lumivera.bundle");
};

/// A stage that is told of the run loop's call-outs, as in a show.
class StageRun {
  public:
    StageRun(const std::string &path, const WallpaperSettings &settings)
        : _time({{0, 0}, settings.size}, 1), _bundle(path), _stage(_bundle, settings) {
        NSRunLoop::mainRunLoop().setObservers([this] { _stage.callOutBegins(); },
                                              [this] { _stage.callOutEnded(); });
    }

    ~StageRun() { NSRunLoop::mainRunLoop().setObservers(nullptr, nullptr); }

    WallpaperStage &stage() { return _stage; }

    void runForSeconds(NSTimeInterval seconds) { NSRunLoop::mainRunLoop().runForSeconds(seconds); }

  private:
    SimulatedTime _time;
    WallpaperBundle _bundle;
    WallpaperStage _stage;
};

} // namespace

TEST_F(Tint, ShadesTheRenderedBackgroundOnce) {
    RenderingSession::Options options;
    options.settings = tealSettings();
    RenderingSession session(_path, options);
    session.nextFrame();
    EXPECT_TRUE(background(session.view()) == expected());
}

TEST_F(Tint, OfNothingLeavesTheBackground) {
    RenderingSession session(_path, {});
    const auto image = UIImage::imageWithContentsOfFile(_path + "/lumivera_background_.png");
    EXPECT_TRUE(background(session.view()) == pixelsOf(image.get()));
}

TEST_F(Tint, ShadesTheShownBackgroundOnce) {
    StageRun run(_path, tealSettings());
    run.runForSeconds(0.7);
    EXPECT_TRUE(background(run.stage().view()) == expected());
}

TEST_F(Tint, ShadesTheBackgroundOfAFreshViewToo) {
    StageRun run(_path, tealSettings());
    run.runForSeconds(0.7);
    DeskTopView *const first = &run.stage().view();
    run.stage().resize({400, 300}, 1);
    run.runForSeconds(1.5);
    ASSERT_NE(&run.stage().view(), first);
    EXPECT_TRUE(background(run.stage().view()) == expected());
}

TEST_F(Tint, ShadesAViewThatIsResizedBeforeItHasLoaded) {
    StageRun run(_path, tealSettings());
    run.stage().resize({400, 300}, 1);
    run.runForSeconds(0.6);
    EXPECT_TRUE(background(run.stage().view()) == expected());
    run.runForSeconds(1);
    EXPECT_TRUE(background(run.stage().view()) == expected());
}

TEST_F(Tint, ShadesAPausedView) {
    StageRun run(_path, tealSettings());
    run.stage().setRunning(false);
    run.runForSeconds(0.7);
    EXPECT_TRUE(background(run.stage().view()) == expected());
    run.stage().setRunning(true);
    run.runForSeconds(0.7);
    EXPECT_TRUE(background(run.stage().view()) == expected());
}

TEST_F(Tint, ThatIsNoColorIsWrongUsageInOneLine) {
    const TemporaryFolder folder;
    for (const char *command : {"render", "run"}) {
        std::vector<std::string> arguments{command, _path, "--tint", "reddish"};
        if (std::string(command) == "render") {
            arguments.insert(arguments.end(), {"-o", folder.pathOf("x.png")});
        }
        const ProgramRun run(arguments);
        EXPECT_EQ(run.status(), 2);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
    }
}

TEST_F(Tint, ChangesTheRenderedPicture) {
    const TemporaryFolder folder;
    const auto picture = [&](const std::string &name, std::vector<std::string> more) {
        std::vector<std::string> arguments{"render",   _path, "-o",     folder.pathOf(name),
                                           "--frames", "1",   "--seed", "1"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        EXPECT_EQ(ProgramRun(arguments).status(), 0);
        return contentsOf(folder.pathOf(name));
    };
    const std::string plain = picture("plain.png", {});
    EXPECT_NE(picture("tinted.png", {"--tint", "#00808080"}), plain);
    EXPECT_EQ(picture("again.png", {}), plain);
}
