#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include "Platform/CoreGraphics/CGImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using Json = nlohmann::json;

namespace {

class Render : public ::testing::Test {
  protected:
    /// Renders the shipped bundle at 320 × 480 and gives the output file's bytes.
    std::string film(const std::string &name, std::vector<std::string> more) {
        run(std::move(more), {"-o", _folder.pathOf(name)});
        return contentsOf(_folder.pathOf(name));
    }

    std::vector<Json> trace(std::vector<std::string> more, const std::string &script = {}) {
        if (!script.empty()) {
            more.insert(more.end(), {"--script", _folder.write("script.json", script)});
        }
        run(std::move(more), {"--trace", _folder.pathOf("trace")});
        std::istringstream text(contentsOf(_folder.pathOf("trace")));
        std::vector<Json> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(Json::parse(line));
        }
        return lines;
    }

    Retained<CGImage> picture(const std::string &name) {
        const std::string bytes = contentsOf(_folder.pathOf(name));
        return CGImageCreateWithData(
            {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
    }

    void run(std::vector<std::string> more, const std::vector<std::string> &output) {
        std::vector<std::string> arguments{"render", shippedBundle("Lumivera.bundle")};
        arguments.insert(arguments.end(), output.begin(), output.end());
        arguments.insert(arguments.end(), more.begin(), more.end());
        const ProgramRun program(arguments);
        EXPECT_EQ(program.status(), 0) << program.errors();
        EXPECT_EQ(program.errors(), "");
    }

    TemporaryFolder _folder;
};

std::size_t petalsIn(const Json &line) {
    std::size_t count = 0;
    for (const Json &layer : line["layers"]) {
        count += layer.size();
    }
    return count;
}

TEST_F(Render, RepeatsFilmsByteForByte) {
    for (const char *name : {"x.png", "x.webp"}) {
        const std::vector<std::string> arguments{"--seed", "5", "--frames", "30"};
        const std::string first = film(name, arguments);
        EXPECT_GT(first.size(), 10000u);
        EXPECT_EQ(film(name, arguments), first) << name;
    }
}

TEST_F(Render, RepeatsTheTraceAndThePictureOfAMinuteByteForByte) {
    const auto render = [this](const std::string &name) {
        const std::string trace = _folder.pathOf(name + ".trace");
        run({"--seed", "3", "--frames", "2400", "--size", "320x480", "--trace", trace},
            {"-o", _folder.pathOf(name + ".png")});
        return std::pair(contentsOf(trace), contentsOf(_folder.pathOf(name + ".png")));
    };
    const auto [trace, picture] = render("first");
    EXPECT_EQ(std::count(trace.begin(), trace.end(), '\n'), 2400);
    EXPECT_GT(picture.size(), 10000u);
    const auto [traceAgain, pictureAgain] = render("second");
    // EXPECT_EQ would print all the bytes.
    EXPECT_TRUE(traceAgain == trace);
    EXPECT_TRUE(pictureAgain == picture);
}

TEST_F(Render, DrawsOtherFramesWithAnotherSeed) {
    EXPECT_NE(film("a.png", {"--seed", "5", "--frames", "1"}),
              film("b.png", {"--seed", "6", "--frames", "1"}));
}

/// Of a wallpaper that never seeds its random numbers itself.
TEST_F(Render, SeedsEveryWallpaperAndTracesItsSublayers) {
    const std::string bundle = testBundle(_folder.path(), "DiceWallpaper");
    const auto traced = [&](const std::vector<std::string> &more) {
        std::vector<std::string> arguments{"render",   bundle, "--trace", _folder.pathOf("t"),
                                           "--frames", "2"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        EXPECT_EQ(ProgramRun(arguments).status(), 0);
        return contentsOf(_folder.pathOf("t"));
    };
    const std::string seeded = traced({"--seed", "5"});
    EXPECT_EQ(traced({"--seed", "5"}), seeded);
    EXPECT_EQ(traced({"--seed", "5", "--unprotected"}), seeded);
    EXPECT_NE(traced({"--seed", "6"}), seeded);
    EXPECT_NE(traced({}), traced({}));
    std::istringstream text(seeded);
    std::string first, second;
    std::getline(text, first);
    std::getline(text, second);
    const Json before = Json::parse(first)["sublayers"];
    const Json after = Json::parse(second)["sublayers"];
    ASSERT_EQ(before.size(), 3U);
    EXPECT_EQ(before["1"][3], 10);
    EXPECT_EQ(before["1"][4], 6);
    EXPECT_DOUBLE_EQ(after["3"][1].get<double>(), before["3"][1].get<double>() + 1);
}

TEST_F(Render, WritesOnePictureOfTheLastFrame) {
    film("last.png", {"--seed", "5", "--frames", "12"});
    film("all%d.png", {"--seed", "5", "--frames", "12"});
    const auto last = picture("last.png");
    const auto eleventh = picture("all11.png");
    ASSERT_TRUE(last && eleventh);
    EXPECT_EQ(last->width(), 320u);
    EXPECT_EQ(last->height(), 480u);
    EXPECT_TRUE(std::equal(last->pixels(), last->pixels() + 320 * 480, eleventh->pixels()));
}

TEST_F(Render, NumbersPicturesFromZero) {
    film("p-%04d.png", {"--frames", "3"});
    for (const char *name : {"p-0000.png", "p-0001.png", "p-0002.png"}) {
        EXPECT_TRUE(fs::exists(_folder.pathOf(name))) << name;
    }
    EXPECT_FALSE(fs::exists(_folder.pathOf("p-0003.png")));
}

TEST_F(Render, MultipliesTheSizeByTheDensity) {
    film("x.png", {"--size", "100x60", "--density", "2.5", "--frames", "1"});
    const auto image = picture("x.png");
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 250u);
    EXPECT_EQ(image->height(), 150u);
}

TEST_F(Render, TurnsSecondsIntoFramesOf25Milliseconds) {
    EXPECT_EQ(trace({"--seconds", "0.5"}).size(), 20u);
}

TEST_F(Render, MakesFilmsWithTheFilmProgram) {
    if (std::system("command -v ffmpeg >/dev/null") != 0) {
        GTEST_SKIP() << "needs ffmpeg";
    }
    for (const auto &[name, start] : {std::pair("x.mp4", "ftyp"), std::pair("x.gif", "GIF8")}) {
        const std::string bytes = film(name, {"--seed", "5", "--frames", "20", "--size", "99x61"});
        EXPECT_THAT(bytes.substr(0, 12), HasSubstr(start));
        EXPECT_EQ(film(name, {"--seed", "5", "--frames", "20", "--size", "99x61"}), bytes) << name;
    }
}

TEST_F(Render, TracesFramesFromTheMomentTheResourcesAreLoaded) {
    const auto lines = trace({"--frames", "3"});
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[2]["frame"], 2);
    EXPECT_EQ(lines[0]["time"].get<double>(), 1000.5);
    EXPECT_EQ(lines[2]["time"].get<double>(), 1000.55);
}

/// What one petal does from its creation to its first step, calculated by the rules of its motion.
struct HandMadePetal {
    std::string name;
    double x = 0;
    double y = 0;
    double angle = 0;

    static HandMadePetal draw(double scale, int level, double areaWidth, double areaHeight) {
        static const std::array<const char *, 13> names{
            "flower1", "flower2", "flower3", "petal1", "petal3", "petal4", "petal1",
            "petal2",  "petal3",  "petal1",  "petal2", "petal3", "petal4"};
        static const std::map<std::string, std::pair<int, int>> sizes{
            {"petal1", {24, 27}}, {"petal2", {25, 25}},  {"petal3", {25, 28}},
            {"petal4", {15, 23}}, {"flower1", {46, 45}}, {"flower2", {44, 35}},
            {"flower3", {40, 40}}};
        HandMadePetal petal;
        const std::string name = names[static_cast<std::size_t>(std::rand()) % 13];
        petal.name = "lumivera_" + name + ".png";
        std::rand();
        const int motion = std::rand();
        const bool sways = std::rand() % 5 == 0;
        const int b = 12 * level;
        const int sign = motion % 2 == 0 ? 1 : -1;
        const auto speedX = static_cast<float>((motion % b + b) * 0.015 * sign);
        const auto speedY = static_cast<float>((motion % (2 * b) + 3 * b) * 0.015);
        petal.angle = (motion % (2 * b) + b) * 0.025 * 0.017453292519943295 * -sign;
        const double w = sizes.at(name).first * scale;
        const double h = sizes.at(name).second * scale;
        const int drawX = std::rand();
        const int drawY = std::rand();
        const double step = sways ? static_cast<float>(speedX - 0.01) : speedX;
        petal.x = w / 2 + drawX % static_cast<int>(areaWidth - w / 2) + step;
        petal.y = h / 2 + drawY % static_cast<int>(areaHeight - h / 2) + speedY;
        return petal;
    }
};

TEST_F(Render, TracesPetalsWhereAHandCalculationPutsThem) {
    const auto lines = trace({"--seed", "77", "--frames", "1", "--count", "30", "--speed", "1"});
    std::srand(77);
    const Json &layer = lines.at(0)["layers"].at(0);
    ASSERT_EQ(layer.size(), 13u);
    for (const Json &petal : layer) {
        const HandMadePetal expected = HandMadePetal::draw(0.6, 1, 320, 480);
        EXPECT_EQ(petal[0], expected.name);
        EXPECT_DOUBLE_EQ(petal[1].get<double>(), expected.x);
        EXPECT_DOUBLE_EQ(petal[2].get<double>(), expected.y);
        EXPECT_DOUBLE_EQ(petal[3].get<double>(), expected.angle);
    }
}

TEST_F(Render, SplitsTheCountOverTheLayers) {
    const auto lines = trace({"--frames", "1", "--count", "30"});
    const Json &layers = lines.at(0)["layers"];
    ASSERT_EQ(layers.size(), 3u);
    EXPECT_EQ(layers[0].size(), 13u);
    EXPECT_EQ(layers[1].size(), 10u);
    EXPECT_EQ(layers[2].size(), 7u);
}

TEST_F(Render, ChangesTheCountRightBeforeTheEventsFrame) {
    const auto lines = trace({"--frames", "4", "--count", "30"},
                             R"({"events": [{"frame": 2, "sakuraCount": 60}]})");
    EXPECT_EQ(petalsIn(lines.at(1)), 30u);
    EXPECT_EQ(petalsIn(lines.at(2)), 60u);
}

TEST_F(Render, LetsEventsHappenBeforeTheVeryFirstFrame) {
    const auto lines = trace({"--frames", "1"}, R"({"events": [{"frame": 0, "sakuraCount": 9}]})");
    EXPECT_EQ(petalsIn(lines.at(0)), 9u);
}

TEST_F(Render, HoldsEveryPetalWhilePausedAndCountsTheFramesOn) {
    const auto lines =
        trace({"--frames", "9", "--seed", "3"},
              R"({"events": [{"frame": 3, "pause": true}, {"frame": 6, "resume": true}]})");
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_NE(lines[2]["layers"], lines[1]["layers"]);
    for (std::size_t frame : {3u, 4u, 5u}) {
        EXPECT_EQ(lines[frame]["layers"], lines[2]["layers"]) << frame;
        EXPECT_DOUBLE_EQ(lines[frame]["time"].get<double>(),
                         1000.5 + 0.025 * static_cast<double>(frame));
    }
    EXPECT_NE(lines[6]["layers"], lines[5]["layers"]);
}

TEST_F(Render, StepsOncePerFrameAfterAPauseAndAResumeInOneFrame) {
    const auto plain = trace({"--frames", "12", "--seed", "3"});
    const auto paused =
        trace({"--frames", "12", "--seed", "3"},
              R"({"events": [{"frame": 4, "pause": true}, {"frame": 4, "resume": true}]})");
    EXPECT_EQ(paused, plain);
}

TEST_F(Render, GoesOnAfterAPauseWhereItLeftOff) {
    const auto plain = trace({"--frames", "6", "--seed", "3"});
    const auto paused =
        trace({"--frames", "8", "--seed", "3"},
              R"({"events": [{"frame": 2, "pause": true}, {"frame": 4, "resume": true}]})");
    EXPECT_EQ(paused.at(7)["layers"], plain.at(5)["layers"]);
}

TEST_F(Render, BlowsPetalsAwayFromATap) {
    const auto still = trace({"--frames", "5", "--seed", "3"});
    const Json &target = still.at(3)["layers"][2][0];
    const double x = target[1].get<double>() + 10;
    const double y = target[2].get<double>();
    std::ostringstream script;
    script << R"({"events": [{"frame": 4, "tap": [)" << x << "," << y << "]}]}";
    const auto tapped = trace({"--frames", "5", "--seed", "3"}, script.str());
    EXPECT_EQ(tapped.at(3)["layers"], still.at(3)["layers"]);
    // A push moves it by 2 points a step, less the first step's damping.
    EXPECT_NEAR(tapped.at(4)["layers"][2][0][1].get<double>(),
                still.at(4)["layers"][2][0][1].get<double>() - 1.98, 1e-5);
}

TEST_F(Render, TakesGestureTwoForATapAndNoOther) {
    const std::string start = R"({"events": [{"frame": 2, "gesture": [)";
    const std::vector<std::string> arguments{"--frames", "4", "--seed", "3", "--count", "300"};
    const auto tapped = trace(arguments, R"({"events": [{"frame": 2, "tap": [160, 240]}]})");
    EXPECT_EQ(trace(arguments, start + "2, 160, 240]}]}"), tapped);
    EXPECT_NE(trace(arguments, start + "1, 160, 240]}]}"), tapped);
}

TEST_F(Render, TakesEveryKindOfEvent) {
    const auto lines = trace({"--frames", "20"}, R"({"events": [
        {"frame": 1, "tap": [160, 240]}, {"frame": 1, "gesture": [2, 10, 10]},
        {"frame": 2, "sakuraCount": 60}, {"frame": 3, "sakuraScaleLevel": 2},
        {"frame": 4, "speedLevel": 3}, {"frame": 5, "offset": 20.5}, {"frame": 6, "scale": 0.5},
        {"frame": 7, "tapClipRect": [0, 0, 10, 10]}, {"frame": 8, "setFrame": [0, 0, 200, 300]},
        {"frame": 9, "pause": true}, {"frame": 10, "resume": true}]})");
    EXPECT_EQ(lines.size(), 20u);
}

TEST_F(Render, FillsTheSizeWhateverTheScale) {
    film("x.png", {"--scale", "0.5", "--size", "64x64", "--frames", "1", "--count", "0"});
    const auto image = picture("x.png");
    ASSERT_TRUE(image);
    for (const std::size_t corner : {0u, 63u, 63u * 64u, 64u * 64u - 1}) {
        EXPECT_NE(image->pixels()[corner], 0xff000000u) << corner;
    }
}

TEST_F(Render, PrintsNoProgressIntoAFile) {
    const ProgramRun run({"render", shippedBundle("Maple.bundle"), "-o", _folder.pathOf("x.png"),
                          "--frames", "1200"});
    EXPECT_EQ(run.status(), 0);
    EXPECT_EQ(run.errors() + run.output(), "");
}

TEST(Help, IsThereForEveryCommand) {
    for (const std::vector<std::string> &command :
         std::initializer_list<std::vector<std::string>>{{},
                                                         {"run"},
                                                         {"render"},
                                                         {"list"},
                                                         {"pack"},
                                                         {"pack", "create"},
                                                         {"pack", "list"},
                                                         {"pack", "extract"}}) {
        std::vector<std::string> arguments = command;
        arguments.push_back("--help");
        const ProgramRun run(arguments);
        EXPECT_EQ(run.status(), 0);
        EXPECT_THAT(run.output(), HasSubstr("Usage:"));
        EXPECT_EQ(run.errors(), "");
    }
}

TEST(Version, IsOneLine) {
    const ProgramRun run({"--version"});
    EXPECT_EQ(run.status(), 0);
    EXPECT_THAT(run.output(), ::testing::MatchesRegex("lumivera [0-9.]+\n"));
}

class RenderShipped : public ::testing::TestWithParam<const char *> {};

TEST_P(RenderShipped, RepeatsForASeedAndMovesWithAnother) {
    const TemporaryFolder folder;
    const auto trace = [&folder](const std::string &seed, const std::string &name) {
        const ProgramRun run({"render", GetParam(), "--seed", seed, "--frames", "40", "--size",
                              "320x480", "-o", folder.pathOf(name + ".png"), "--trace",
                              folder.pathOf(name)});
        EXPECT_EQ(run.status(), 0) << run.errors();
        EXPECT_EQ(run.errors(), "");
        return contentsOf(folder.pathOf(name));
    };
    const std::string first = trace("3", "first");
    EXPECT_EQ(trace("3", "again"), first);
    EXPECT_EQ(contentsOf(folder.pathOf("again.png")), contentsOf(folder.pathOf("first.png")));
    EXPECT_NE(trace("4", "other"), first);
}

INSTANTIATE_TEST_SUITE_P(All, RenderShipped,
                         ::testing::Values("Fireflies", "Lumivera", "Maple", "Snow"));

TEST(RenderFireflies, ShowsThemGatherWhereTheScriptTaps) {
    const TemporaryFolder folder;
    const std::string script =
        folder.write("script.json", R"({"events": [{"frame": 20, "tap": [160, 300]}]})");
    const ProgramRun run({"render", "Fireflies", "--seed", "3", "--frames", "150", "--size",
                          "320x480", "--script", script, "--trace", folder.pathOf("trace")});
    EXPECT_EQ(run.status(), 0) << run.errors();
    std::istringstream lines(contentsOf(folder.pathOf("trace")));
    std::vector<int> counts;
    for (std::string line; std::getline(lines, line);) {
        const Json frame = Json::parse(line);
        int near = 0;
        for (const auto &[name, place] : frame["sublayers"].items()) {
            near += name.find("firefly") != std::string::npos &&
                    std::hypot(place[0].get<double>() - 160, place[1].get<double>() - 300) < 60;
        }
        counts.push_back(near);
    }
    ASSERT_EQ(counts.size(), 150u);
    EXPECT_GT(counts.back(), 2 * counts[19]);
}

} // namespace
