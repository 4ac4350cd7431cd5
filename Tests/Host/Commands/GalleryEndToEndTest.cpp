#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Programs/VirtualScreen.h"
#include "Tests/Platform/CoreGraphics/StoredPicture.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using ::testing::HasSubstr;

namespace {

class GalleryCommandTest : public ::testing::Test {
  protected:
    ProgramRun gallery(std::vector<std::string> arguments,
                       const std::vector<std::string> &environment = {}) {
        arguments.insert(arguments.begin(), "gallery");
        ProgramRun::Options options;
        options.environment = environment;
        return {arguments, options};
    }

    /// The bytes of the output file of that name.
    std::string made(const std::string &name, std::vector<std::string> more) {
        more.insert(more.end(), {"-o", _folder.pathOf(name)});
        const auto run = gallery(more);
        EXPECT_EQ(run.status(), 0) << run.errors();
        EXPECT_EQ(run.output() + run.errors(), "");
        return contentsOf(_folder.pathOf(name));
    }

    Retained<CGImage> picture(const std::string &name) {
        const std::string bytes = contentsOf(_folder.pathOf(name));
        return CGImageCreateWithData(
            {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
    }

    void expectRefusal(const ProgramRun &run, int status, const std::string &words) {
        EXPECT_EQ(run.status(), status);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr(words));
    }

    std::size_t fileCount() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(_folder.path()), fs::directory_iterator()));
    }

    TemporaryFolder _folder;
};

TEST_F(GalleryCommandTest, RepeatsFilmsAndSheetsByteForByte) {
    for (const char *name : {"sheet.png", "film.webp"}) {
        std::vector<std::string> arguments{"--size", "320x240"};
        if (std::string(name) == "film.webp") {
            arguments.insert(arguments.end(), {"--seconds", "0.5"});
        }
        const std::string first = made(name, arguments);
        EXPECT_GT(first.size(), 10000u) << name;
        EXPECT_TRUE(made(name, arguments) == first) << name;
    }
}

TEST_F(GalleryCommandTest, NumbersPicturesAndMakesForty) {
    made("f-%04d.png", {"--seconds", "1", "--size", "80x60"});
    EXPECT_EQ(fileCount(), 40u);
    EXPECT_TRUE(fs::exists(_folder.pathOf("f-0000.png")));
    EXPECT_TRUE(fs::exists(_folder.pathOf("f-0039.png")));
    EXPECT_NE(contentsOf(_folder.pathOf("f-0004.png")), contentsOf(_folder.pathOf("f-0005.png")));
}

TEST_F(GalleryCommandTest, MultipliesTheSizeByTheDensity) {
    for (const char *name : {"sheet.png", "film%d.png"}) {
        std::vector<std::string> arguments{"--size", "120x80", "--density", "2.5"};
        if (std::string(name) != "sheet.png") {
            arguments.insert(arguments.end(), {"--seconds", "0.025"});
        }
        made(name, arguments);
    }
    for (const char *name : {"sheet.png", "film0.png"}) {
        const auto image = picture(name);
        ASSERT_TRUE(image) << name;
        EXPECT_EQ(image->width(), 300u);
        EXPECT_EQ(image->height(), 200u);
    }
}

/// Shows six moments of every view animation over a whole pass. Another version of the drawing
/// library may draw the letters' outlines slightly differently.
TEST_F(GalleryCommandTest, MakesTheSheetThatIsStored) {
    made("sheet.png", {"--size", "1440x880"});
    const auto sheet = picture("sheet.png");
    ASSERT_TRUE(sheet);
    expectStoredPicture(*sheet, LUMIVERA_SOURCE_DIR "/Docs/animations.png", 8, 2000, "animations");
}

TEST_F(GalleryCommandTest, ArrangesAsManyColumnsAsAreAskedFor) {
    const std::vector<std::string> size{"--size", "240x240"};
    const std::string chosen = made("a.png", size);
    EXPECT_NE(made("b.png", {"--size", "240x240", "--columns", "1"}), chosen);
}

TEST_F(GalleryCommandTest, MovesTheFlowersOfAnotherBundle) {
    EXPECT_NE(made("a.png", {shippedBundle("Maple.bundle"), "--size", "240x240"}),
              made("b.png", {shippedBundle("Lumivera.bundle"), "--size", "240x240"}));
    EXPECT_EQ(made("c.png", {"Lumivera", "--size", "240x240"}),
              contentsOf(_folder.pathOf("b.png")));
}

TEST_F(GalleryCommandTest, MakesPicturesFromOnePixelOn) {
    for (const char *size : {"1x1", "1x2000", "2000x1"}) {
        made("sheet.png", {"--size", size});
        made("film%d.png", {"--size", size, "--seconds", "0.1"});
        EXPECT_TRUE(picture("sheet.png") && picture("film3.png")) << size;
    }
}

TEST_F(GalleryCommandTest, MakesAFilmWithTheFilmProgram) {
    if (!isInstalled("ffmpeg")) {
        GTEST_SKIP() << "needs ffmpeg";
    }
    EXPECT_THAT(made("film.mp4", {"--size", "160x120", "--seconds", "0.5"}), HasSubstr("ftyp"));
}

TEST_F(GalleryCommandTest, RefusesWhatItCannotMakeInOneLine) {
    for (const std::vector<std::string> &arguments : std::vector<std::vector<std::string>>{
             {"-o", _folder.pathOf("x.txt")},
             {"-o", _folder.pathOf("x.png"), "--seconds", "3"},
             {"-o", _folder.pathOf("x%d%d.png")},
             {"-o", _folder.pathOf("x.webp"), "--seconds", "0"},
             {"-o", _folder.pathOf("x.png"), "--columns", "0"},
             {"-o", _folder.pathOf("x.png"), "--columns", "-3"},
             {"-o", _folder.pathOf("x.png"), "--size", "0x5"},
             {"-o", _folder.pathOf("x.png"), "--size", "16384x16384"},
             {"-o", _folder.pathOf("x.png"), "--size", "wide"},
             {"-o", _folder.pathOf("x.png"), "--density", "99"},
             {"-o", _folder.pathOf("x.png"), "one", "two"}}) {
        const auto run = gallery(arguments);
        EXPECT_EQ(run.status(), 2) << ::testing::PrintToString(arguments);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
    }
    EXPECT_EQ(fileCount(), 0u);
}

TEST_F(GalleryCommandTest, NamesWhatIsMissing) {
    const std::string out = _folder.pathOf("x.png");
    expectRefusal(gallery({"no-such-bundle", "-o", out}), 1,
                  "no-such-bundle: there is no such bundle");
    const std::string bundle = copyOfShippedBundle(_folder.path());
    for (const char *ending : {"", "@2x", "@3x"}) {
        fs::remove(bundle + "/lumivera_flower2" + ending + ".png");
    }
    expectRefusal(gallery({bundle, "-o", out}), 1, "lumivera_flower2.png: is missing");
    expectRefusal(gallery({"-o", _folder.pathOf("no/such/folder.png")}), 1, "no/such/folder.png");
    EXPECT_FALSE(fs::exists(out));
}

TEST_F(GalleryCommandTest, TakesTheNextDenserFlowerThatThereIs) {
    const std::string bundle = copyOfShippedBundle(_folder.path());
    std::ofstream(bundle + "/lumivera_flower1@3x.png") << "damaged";
    made("x.png", {bundle, "--size", "240x240"});
}

TEST_F(GalleryCommandTest, TellsHowToSeeItWithoutADisplay) {
    const auto run = gallery({}, {"DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"});
    expectRefusal(run, 1, "lumivera gallery -o");
}

/// Another machine's sine may round the last bit of a sample differently.
TEST_F(GalleryCommandTest, HasTheChimeThatItsProgramMakes) {
    if (!isInstalled("python3")) {
        GTEST_SKIP() << "needs python3";
    }
    const std::string path = _folder.pathOf("made.wav");
    outputOf("python3 " LUMIVERA_SOURCE_DIR "/Host/Sounds/chime.py " + path);
    const std::string made = contentsOf(path);
    const std::string shipped = contentsOf(LUMIVERA_BUILD_DIR "/share/lumivera/sounds/chime.wav");
    ASSERT_EQ(made.size(), shipped.size());
    constexpr std::size_t kHeader = 44;
    EXPECT_EQ(made.substr(0, kHeader), shipped.substr(0, kHeader));
    int loudest = 0, largestDifference = 0;
    for (std::size_t i = kHeader; i + 1 < made.size(); i += 2) {
        std::int16_t first = 0, second = 0;
        std::memcpy(&first, made.data() + i, 2);
        std::memcpy(&second, shipped.data() + i, 2);
        loudest = std::max(loudest, std::abs(int{second}));
        largestDifference = std::max(largestDifference, std::abs(first - second));
    }
    EXPECT_LE(largestDifference, 1);
    EXPECT_NEAR(loudest, 16384, 2) << "half as loud as can be";
}

TEST_F(GalleryCommandTest, ExplainsItself) {
    const auto run = gallery({"--help"});
    EXPECT_EQ(run.status(), 0);
    for (const char *words : {"-o,--output", "--seconds", "--size", "--density", "--columns",
                              "space", "screenshot", "full screen", "quit", ".webp"}) {
        EXPECT_THAT(run.output(), HasSubstr(words));
    }
}

} // namespace
