#include "Host/Rendering/RenderingSession.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Playing/TraceWriter.h"
#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSThread.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/ScriptedRandom.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace Lumivera;

namespace {

class RenderingSessionTest : public ::testing::Test {
  protected:
    LogRecorder _log;
    TemporaryFolder _folder;
};

RenderingSession::Options seeded(unsigned seed) {
    RenderingSession::Options options;
    options.seed = seed;
    return options;
}

/// The trace of the session's present frame.
nlohmann::json lineOf(RenderingSession &session) {
    return nlohmann::json::parse("{" + TraceWriter::entry(session.time(), session.view()));
}

std::string tinyBundle(const std::string &folder) { return testBundle(folder, "TinyWallpaper"); }

TEST_F(RenderingSessionTest, LeavesNoThreadAndNoCallBehind) {
    {
        RenderingSession session(shippedBundle("Lumivera.bundle"), seeded(1));
        session.nextFrame();
    }
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
    EXPECT_EQ(NSRunLoop::mainRunLoop().nextDeadline(), Clock::kNever);
}

TEST_F(RenderingSessionTest, RunsAgainAndAgainInOneProcess) {
    std::vector<std::uint32_t> first;
    for (int i = 0; i < 3; ++i) {
        RenderingSession session(shippedBundle("Lumivera.bundle"), seeded(9));
        session.nextFrame();
        if (i == 0) {
            first = session.composite();
        }
        EXPECT_EQ(session.composite(), first);
    }
}

TEST_F(RenderingSessionTest, StepsTheViewOnceAFrame) {
    RenderingSession session(tinyBundle(_folder.path()), {});
    EXPECT_EQ(session.view().offset(), 1);
    for (int i = 0; i < 100; ++i) {
        session.nextFrame();
    }
    EXPECT_EQ(session.view().offset(), 101);
}

TEST_F(RenderingSessionTest, KeepsTheViewAliveAfterItsLibraryWasClosed) {
    RenderingSession session(tinyBundle(_folder.path()), {});
    session.view().tapActionAtViewPoint({17, 0});
    EXPECT_EQ(session.view().speedLevel(), 17);
    EXPECT_EQ(dynamic_cast<LumiveraView *>(&session.view()), nullptr);
}

TEST_F(RenderingSessionTest, GivesTheViewTheScreensSizeWhateverItsOwn) {
    RenderingSession::Options options;
    options.settings.size = {500, 300};
    options.settings.scale = 2;
    RenderingSession session(tinyBundle(_folder.path()), options);
    EXPECT_EQ(session.view().frame(), CGRectMake(0, 0, 500, 300));
    EXPECT_EQ(session.view().bounds().size, CGSizeMake(250, 150));
}

TEST_F(RenderingSessionTest, TellsThatAnEventIsNotForTheWallpaper) {
    RenderingSession::Options options;
    options.script = Script::parse(R"({"events": [{"frame": 1, "sakuraCount": 4}]})", "s.json");
    RenderingSession session(tinyBundle(_folder.path()), options);
    EXPECT_THROW(session.nextFrame(), HostError);
}

TEST_F(RenderingSessionTest, SurvivesAFailureBeforeTheFirstFrame) {
    RenderingSession::Options options;
    options.script = Script::parse(R"({"events": [{"frame": 0, "sakuraCount": 4}]})", "s.json");
    EXPECT_THROW(RenderingSession(tinyBundle(_folder.path()), options), HostError);
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
    RenderingSession(shippedBundle("Lumivera.bundle"), seeded(1)).nextFrame();
}

TEST_F(RenderingSessionTest, PrintsNumbersThatReadBackToTheSameDouble) {
    RenderingSession session(shippedBundle("Lumivera.bundle"), seeded(4));
    session.nextFrame();
    const auto line = lineOf(session);
    for (NSUInteger level = 0; level < 3; ++level) {
        const UIView *layer = session.view().subviewAtIndex(level + 1);
        ASSERT_EQ(line["layers"][level].size(), layer->subviewCount());
        for (NSUInteger i = 0; i < layer->subviewCount(); ++i) {
            const auto *petal = dynamic_cast<const Sakura *>(layer->subviewAtIndex(i));
            ASSERT_TRUE(petal);
            const auto &entry = line["layers"][level][i];
            EXPECT_EQ(entry[0], petal->image()->fileName());
            EXPECT_EQ(entry[1].get<double>(), petal->center().x);
            EXPECT_EQ(entry[2].get<double>(), petal->center().y);
            EXPECT_EQ(entry[3].get<double>(), petal->angle());
            EXPECT_EQ(entry[4].get<double>(), petal->frame().size.width);
            EXPECT_EQ(entry[5].get<double>(), petal->frame().size.height);
        }
    }
}

TEST_F(RenderingSessionTest, TracesNullForAPictureWithoutAName) {
    RenderingSession session(shippedBundle("Lumivera.bundle"), seeded(4));
    auto *petal = dynamic_cast<Sakura *>(session.view().subviewAtIndex(1)->subviewAtIndex(0));
    ASSERT_TRUE(petal);
    petal->setImage(nullptr);
    const auto line = lineOf(session);
    EXPECT_TRUE(line["layers"][0][0][0].is_null());
}

TEST_F(RenderingSessionTest, SeedsAStillWallpaperAndGivesItItsFirstEvents) {
    const ScriptedRandom random;
    RenderingSession::Options options = seeded(77);
    options.script = Script::parse(
        R"({"events": [{"frame": 0, "offset": 7}, {"frame": 2, "offset": 8}]})", "s.json");
    RenderingSession session(testBundle(_folder.path(), "StillWallpaper"), options);
    EXPECT_EQ(random.seed(), 77u);
    EXPECT_EQ(session.view().offset(), 7);
    session.nextFrame();
    EXPECT_EQ(session.view().offset(), 7);
    session.nextFrame();
    EXPECT_EQ(session.view().offset(), 8);
}

} // namespace
