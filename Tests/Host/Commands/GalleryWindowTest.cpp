#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramWindowTest.h"

#include "Platform/CoreGraphics/CGImage.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <vector>

namespace {

using Pixels = std::vector<std::uint32_t>;

Pixels pixelsOf(const Retained<CGImage> &image) {
    return image ? Pixels(image->pixels(), image->pixels() + image->width() * image->height())
                 : Pixels();
}

class GalleryWindow : public ProgramWindowTest {
  protected:
    void begin(const std::vector<std::string> &environment = {}) {
        start({"gallery", "--size", "480x360"}, environment);
        ASSERT_NO_FATAL_FAILURE(findWindow("Animations"));
        ASSERT_TRUE(eventually([this] { return isMoving(); }));
    }

    bool isMoving() {
        const Pixels before = pixelsOf(picture());
        return !before.empty() && eventually([&] { return pixelsOf(picture()) != before; });
    }

    void pause() {
        focus();
        press("space");
        ASSERT_TRUE(comesToRest(process()));
    }

    /// The samples that the sound device was given; SDL makes the file only when a sound is played.
    std::vector<float> heard() const {
        const std::string bytes = contentsOf(soundFile());
        std::vector<float> samples(bytes.size() / sizeof(float));
        std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
        return samples;
    }

    std::string soundFile() const { return _folder.pathOf("sound.raw"); }

    std::vector<std::string> soundIntoFile() const {
        return {"SDL_AUDIODRIVER=disk", "SDL_DISKAUDIOFILE=" + soundFile()};
    }
};

TEST_F(GalleryWindow, MovesAndEndsWithTheTerminationSignal) {
    begin();
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(GalleryWindow, ChimesAtAClickAndOnlyThen) {
    begin(soundIntoFile());
    EXPECT_FALSE(std::filesystem::exists(soundFile()));
    click(60, 80);
    EXPECT_TRUE(eventually([this] {
        const auto samples = heard();
        return std::any_of(samples.begin(), samples.end(), [](float s) { return s > 0.3F; });
    }));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(GalleryWindow, RestsWhilePausedAndSavesWhatItShows) {
    begin();
    pause();
    press("s");
    const std::string find = "ls " + _folder.path() + "/lumivera-*.png 2>/dev/null";
    ASSERT_TRUE(eventually([&] { return !outputOf(find).empty(); }));
    std::string path = outputOf(find);
    path.resize(path.find('\n'));
    const std::string bytes = contentsOf(path);
    const auto saved =
        CGImageCreateWithData({reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
    // EXPECT_EQ would print all the pixels. The window was drawn a part at a time, the file in one
    // go.
    EXPECT_TRUE(pixelsOf(saved) == pixelsOf(picture()));
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
    resize(20, 20);
    resize(600, 100);
    EXPECT_TRUE(isMoving());
    EXPECT_EQ(end(SIGINT), 0);
}

TEST_F(GalleryWindow, EndsByItselfAfterTheSeconds) {
    start({"gallery", "--seconds", "0.5"});
    EXPECT_EQ(waitForEnd(), 0);
}

} // namespace
