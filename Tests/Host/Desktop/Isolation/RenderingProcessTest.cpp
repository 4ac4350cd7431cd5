#include "Host/Desktop/Isolation/RenderingProcess.h"

#include "Host/Playing/TraceWriter.h"
#include "Host/Rendering/RenderingSession.h"
#include "Host/Support/HostError.h"
#include "Tests/Host/Desktop/Isolation/BrokenLibraries.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <vector>

using namespace Lumivera;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

RenderingProcess::Start seeded(const std::string &bundle, NSUInteger frames) {
    RenderingProcess::Start start;
    start.bundle = bundle;
    start.isTrusted = true;
    start.settings.size = {160, 120};
    start.seed = 5;
    start.frameCount = frames;
    start.isTraced = true;
    return start;
}

/// What ended the rendering; empty when all frames came.
std::string failureOf(const RenderingProcess::Start &start) {
    try {
        RenderingProcess process(start);
        for (NSUInteger frame = 0; frame < start.frameCount; ++frame) {
            EXPECT_TRUE(process.nextFrame()) << frame;
        }
    } catch (const HostError &error) {
        return error.what();
    }
    return "";
}

TEST(RenderingProcessTest, GivesTheFramesOfARenderingInThisProcess) {
    constexpr NSUInteger kFrames = 120;
    const std::string script = R"({"events": [{"frame": 0, "speedLevel": 2},
        {"frame": 9, "tap": [80, 60]}, {"frame": 20, "pause": true}, {"frame": 30, "resume": true},
        {"frame": 40, "sakuraCount": 200}]})";
    auto start = seeded(shippedBundle("Lumivera.bundle"), kFrames);
    // A width that is no whole number of points.
    start.settings.size = {80.5, 60};
    start.settings.density = 2;
    start.script = Script::parse(script, "script");
    RenderingSession::Options options;
    options.settings = start.settings;
    options.seed = start.seed;
    options.script = start.script;
    std::vector<std::vector<std::uint32_t>> pictures;
    std::vector<std::string> lines;
    {
        RenderingSession session(start.bundle, options);
        for (NSUInteger frame = 0; frame < kFrames; ++frame) {
            if (frame > 0) {
                session.nextFrame();
            }
            pictures.push_back(session.composite());
            lines.push_back(TraceWriter::entry(session.time(), session.view()));
        }
    }
    RenderingProcess process(start);
    for (NSUInteger frame = 0; frame < kFrames; ++frame) {
        const RenderingProcess::Frame *given = process.nextFrame();
        ASSERT_TRUE(given);
        EXPECT_EQ(given->trace, lines[frame]) << frame;
        EXPECT_TRUE(std::equal(given->pixels.begin(), given->pixels.end(), pictures[frame].begin(),
                               pictures[frame].end()))
            << frame;
    }
}

TEST(RenderingProcessTest, GivesPicturesOnlyFromTheWantedFrameOn) {
    auto start = seeded(shippedBundle("Lumivera.bundle"), 3);
    start.firstPicture = 2;
    RenderingProcess process(start);
    EXPECT_TRUE(process.nextFrame()->pixels.empty());
    EXPECT_TRUE(process.nextFrame()->pixels.empty());
    EXPECT_EQ(process.nextFrame()->pixels.size(), 160U * 120);
}

TEST(RenderingProcessTest, RendersAMillionPetals) {
    if (!kIsMemoryLimited) {
        GTEST_SKIP() << "takes too long with a sanitizer";
    }
    auto start = seeded(shippedBundle("Lumivera.bundle"), 1);
    start.settings.petals = kMaxPetals;
    start.firstPicture = start.frameCount;
    RenderingProcess process(start);
    EXPECT_GT(process.nextFrame()->trace.size(), 50U * kMaxPetals);
}

TEST(RenderingProcessTest, IsMorePatientWithPetalsThatWereAskedFor) {
    RenderingProcess::Start start;
    EXPECT_EQ(RenderingProcess::patienceFor(start), 60);
    start.settings.petals = 300'000;
    EXPECT_EQ(RenderingProcess::patienceFor(start), 31 * 60);
    start.script = Script::parse(R"({"events": [{"frame": 3, "sakuraCount": 1000000}]})", "script");
    EXPECT_EQ(RenderingProcess::patienceFor(start), 101 * 60);
}

class SlowRendering : public ::testing::TestWithParam<BrokenLibrary> {};

TEST_P(SlowRendering, EndsAfterAMinute) {
    const TemporaryFolder folder;
    auto start = seeded(hostileBundle(folder.path(), GetParam().deed), 150);
    start.timeFactor = 60;
    const std::string failure = failureOf(start);
    EXPECT_THAT(failure, StartsWith(start.bundle + ": has drawn nothing for 60 s"));
    EXPECT_TRUE(GetParam().isToldIn(failure)) << failure;
}

INSTANTIATE_TEST_SUITE_P(Libraries, SlowRendering, ::testing::ValuesIn(brokenLibraries(true)),
                         [](const auto &info) { return nameOfBrokenLibrary(info); });

/// A script in which that happens.
std::string scriptFor(Cause cause) {
    switch (cause) {
    case Cause::Tap:
        return R"({"events": [{"frame": 9, "tap": [80, 60]}]})";
    case Cause::Gesture:
        return R"({"events": [{"frame": 9, "gesture": [1, 80, 60]}]})";
    case Cause::Resize:
        return R"({"events": [{"frame": 9, "setFrame": [0, 0, 200, 300]}]})";
    case Cause::SpeedChange:
        return R"({"events": [{"frame": 9, "speedLevel": 3}]})";
    case Cause::Pause:
    case Cause::Resume:
        return R"({"events": [{"frame": 9, "pause": true}, {"frame": 20, "resume": true}]})";
    case Cause::Showing:
        break;
    }
    return R"({"events": []})";
}

class HostileRenderingTest : public ::testing::TestWithParam<BrokenLibrary> {};

TEST_P(HostileRenderingTest, EndsWithALineThatNamesTheBundle) {
    const BrokenLibrary &library = GetParam();
    const TemporaryFolder folder;
    const TemporaryFolder scripts;
    scripts.write("script", scriptFor(library.cause));
    const std::string bundle = hostileBundle(folder.path(), library.deed);
    const ProgramRun run({"render", bundle, "--frames", "150", "--trace", folder.pathOf("trace"),
                          "-o", folder.pathOf("film.webp"), "--script", scripts.pathOf("script")});
    EXPECT_EQ(run.status(), library.ends(kRender) ? 1 : 0);
    if (library.isSeenBy(kRender)) {
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), StartsWith("lumivera: " + bundle));
        EXPECT_TRUE(library.isToldIn(run.errors())) << run.errors();
    } else {
        EXPECT_EQ(run.errors(), "") << library.blindness;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}),
              library.ends(kRender) ? 1 : 3)
        << "no file but the bundle is left of a rendering that has failed";
}

INSTANTIATE_TEST_SUITE_P(Libraries, HostileRenderingTest,
                         ::testing::ValuesIn(brokenLibraries(false)),
                         [](const auto &info) { return nameOfBrokenLibrary(info); });

TEST(IntrudingRendering, EndsWithOneLine) {
    for (const char *deed : {"intrude-in-init", "intrude-in-frame"}) {
        const TemporaryFolder folder;
        const std::string bundle = hostileBundle(folder.path(), deed);
        const ProgramRun run(
            {"render", bundle, "--frames", "150", "--trace", folder.pathOf("trace")});
        EXPECT_EQ(run.status(), 1);
        EXPECT_EQ(run.errors(), "lumivera: " + bundle + ": says what makes no sense\n");
    }
}

TEST(ReachingRendering, WritesNothing) {
    for (const char *deed : {"reach-out-in-entry", "reach-out-in-frame"}) {
        const TemporaryFolder folder;
        const std::string bundle = hostileBundle(folder.path(), deed);
        const ProgramRun run(
            {"render", bundle, "--frames", "150", "--trace", folder.pathOf("trace")});
        EXPECT_EQ(run.status(), 0) << "the deed ends the process when it succeeds";
        EXPECT_THAT(run.errors(),
                    HasSubstr(bundle + " makes the system call socket, which is refused"));
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 2);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(bundle), {}), 2);
    }
}

TEST(UnprotectedRendering, GivesTheSameBytes) {
    const TemporaryFolder folder;
    std::vector<std::string> arguments{
        "render",  shippedBundle("Lumivera.bundle"), "--frames", "40", "--seed", "5",
        "--trace", folder.pathOf("trace"),           "-o"};
    arguments.push_back(folder.pathOf("a.webp"));
    EXPECT_EQ(ProgramRun(arguments).status(), 0);
    const std::string trace = contentsOf(folder.pathOf("trace"));
    arguments.back() = folder.pathOf("b.webp");
    arguments.emplace_back("--unprotected");
    EXPECT_EQ(ProgramRun(arguments).status(), 0);
    EXPECT_TRUE(contentsOf(folder.pathOf("trace")) == trace);
    EXPECT_TRUE(contentsOf(folder.pathOf("a.webp")) == contentsOf(folder.pathOf("b.webp")));
}

} // namespace
