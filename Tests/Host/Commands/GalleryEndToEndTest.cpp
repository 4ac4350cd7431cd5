#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramWindowTest.h"
#include "Tests/Platform/CoreGraphics/StoredPicture.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

// The wallpaper Gallery as people see it: in the program's protected process.

namespace {

Retained<CGImage> pictureIn(const std::string &file) {
    const std::string bytes = contentsOf(file);
    return CGImageCreateWithData(
        {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
}

using Pixels = std::vector<std::uint32_t>;

Pixels pixelsOf(const Retained<CGImage> &image) {
    return image ? Pixels(image->pixels(), image->pixels() + image->width() * image->height())
                 : Pixels();
}

class GalleryRendering : public ::testing::Test {
  protected:
    /// The bytes of the output file of that name.
    std::string render(const std::string &name, std::vector<std::string> more) {
        more.insert(more.begin(), {"render", "Gallery", "-o", _folder.pathOf(name)});
        const ProgramRun run(more);
        EXPECT_EQ(run.status(), 0) << run.errors();
        EXPECT_EQ(run.output() + run.errors(), "");
        return contentsOf(_folder.pathOf(name));
    }

    /// The file of a script with a tap in frame 1.
    std::string tap() {
        return _folder.write("tap.json", R"({"events": [{"frame": 1, "tap": [100, 100]}]})");
    }

    TemporaryFolder _folder;
};

TEST_F(GalleryRendering, RepeatsFilmsAndPicturesByteForByte) {
    for (const char *name : {"x.png", "x.webp"}) {
        const std::vector<std::string> arguments{"--size", "320x240", "--frames", "20"};
        const std::string first = render(name, arguments);
        EXPECT_GT(first.size(), 10000u) << name;
        EXPECT_TRUE(render(name, arguments) == first) << name;
    }
}

/// Positions that are computed from later times differ in their last bits.
TEST_F(GalleryRendering, LoopsInTwelveSeconds) {
    render("%d.png", {"--size", "120x160", "--frames", "506"});
    for (const char *frame : {"0", "10", "25"}) {
        const std::string later = std::to_string(std::stoi(frame) + 480);
        const auto first = pictureIn(_folder.pathOf(std::string(frame) + ".png"));
        ASSERT_TRUE(first);
        expectStoredPicture(*first, _folder.pathOf(later + ".png"), 2, 100, "gallery-loop");
    }
    EXPECT_FALSE(pixelsOf(pictureIn(_folder.pathOf("10.png"))) ==
                 pixelsOf(pictureIn(_folder.pathOf("25.png"))));
}

/// Shows six moments of every view animation over a whole pass.
TEST_F(GalleryRendering, GivesTheSheetThatIsStored) {
    if (!isInstalled("rsvg-convert")) {
        GTEST_SKIP() << "needs rsvg-convert";
    }
    outputOf(LUMIVERA_SOURCE_DIR "/Docs/make-animations-sheet " LUMIVERA_BUILD_DIR
                                 "/bin/lumivera " +
             _folder.pathOf("sheet.png"));
    const auto sheet = pictureIn(_folder.pathOf("sheet.png"));
    ASSERT_TRUE(sheet);
    expectStoredPicture(*sheet, LUMIVERA_SOURCE_DIR "/Docs/animations.png", 8, 20000, "animations");
}

TEST_F(GalleryRendering, TurnsThePageAtATap) {
    const std::vector<std::string> arguments{"--size", "320x240", "--frames", "60"};
    const std::string untouched = render("a.png", arguments);
    auto tapped = arguments;
    tapped.insert(tapped.end(), {"--script", tap()});
    const std::string second = render("b.png", tapped);
    EXPECT_NE(second, untouched);
    tapped[3] = "100";
    EXPECT_EQ(render("c.png", tapped), second) << "the pictures stand still";
}

TEST_F(GalleryRendering, IsMadeFromOnePixelOn) {
    for (const char *size : {"1x1", "1x2000", "2000x1"}) {
        EXPECT_FALSE(render("x.png", {"--size", size, "--frames", "3"}).empty());
    }
}

TEST_F(GalleryRendering, HasTheChimeThatItsProgramMakes) {
    if (!isInstalled("python3")) {
        GTEST_SKIP() << "needs python3";
    }
    const std::string path = _folder.pathOf("made.wav");
    outputOf("python3 " LUMIVERA_SOURCE_DIR "/Wallpapers/Gallery/Art/chime.py " + path);
    const std::string made = contentsOf(path);
    const std::string shipped = contentsOf(shippedBundle("Gallery.bundle") + "/chime.wav");
    ASSERT_EQ(made.size(), shipped.size());
    constexpr std::size_t kHeader = 44;
    EXPECT_EQ(made.substr(0, kHeader), shipped.substr(0, kHeader));
    // Another machine's sine may round the last bit of a sample differently.
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

TEST_F(GalleryRendering, HoldsNoLinks) {
    for (const auto &entry : fs::directory_iterator(shippedBundle("Gallery.bundle"))) {
        EXPECT_TRUE(entry.is_regular_file() && !entry.is_symlink()) << entry.path();
    }
}

class GalleryWindow : public ProgramWindowTest {
  protected:
    void begin(const std::vector<std::string> &environment = {}) {
        start({"run", "Gallery", "--size", "480x360"}, environment);
        ASSERT_NO_FATAL_FAILURE(findWindow("Gallery"));
        ASSERT_TRUE(eventually([this] { return isMoving(); }));
    }

    bool isMoving() {
        const Pixels before = pixelsOf(picture());
        return !before.empty() && eventually([&] { return pixelsOf(picture()) != before; });
    }

    /// The samples that the sound device was given; SDL makes the file only when a sound is played.
    std::vector<float> heard() const {
        const std::string bytes = contentsOf(soundFile());
        std::vector<float> samples(bytes.size() / sizeof(float));
        std::copy_n(bytes.begin(), samples.size() * sizeof(float),
                    reinterpret_cast<char *>(samples.data()));
        return samples;
    }

    std::string soundFile() const { return _folder.pathOf("sound.raw"); }
};

TEST_F(GalleryWindow, ChimesAtAClickAndOnlyThen) {
    begin({"SDL_AUDIODRIVER=disk", "SDL_DISKAUDIOFILE=" + soundFile()});
    EXPECT_FALSE(fs::exists(soundFile()));
    click(60, 80);
    EXPECT_TRUE(eventually([this] {
        const auto samples = heard();
        return std::any_of(samples.begin(), samples.end(), [](float s) { return s > 0.3F; });
    }));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(GalleryWindow, RestsWhilePaused) {
    begin();
    focus();
    press("space");
    EXPECT_TRUE(comesToRest(process()));
    press("space");
    EXPECT_TRUE(isMoving());
    press("q");
    EXPECT_EQ(waitForEnd(), 0);
}

TEST_F(GalleryWindow, FillsAWindowOfAnotherSize) {
    begin();
    resize(200, 500);
    ASSERT_TRUE(eventually([this] {
        const auto image = picture();
        return image && image->width() == 200 && image->height() == 500;
    }));
    EXPECT_TRUE(isMoving());
    EXPECT_EQ(end(SIGINT), 0);
}

} // namespace
