#include "Host/Wallpapers/BundleSounds.h"

#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/WaveFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <sys/stat.h>

using namespace Lumivera;

namespace {

/// Counts what is played.
class BundleSoundsTest : public ::testing::Test {
  protected:
    BundleSoundsTest() {
        AudioServicesSetSink([this](const std::string &) { ++_played; });
        std::filesystem::create_directories(_folder.pathOf("x.bundle/more"));
        _folder.write("outside.wav", wave());
        _folder.write("x.bundle/splash.wav", wave());
        _folder.write("x.bundle/more/splash.wav", wave());
        _folder.write("x.bundle/text.wav", "no sound");
        mkfifo(_folder.pathOf("pipe.wav").c_str(), 0600);
        _sounds.emplace(BundleFolder(_folder.pathOf("x.bundle"), BundleFolder::Trust::Anybody));
    }
    ~BundleSoundsTest() override { AudioServicesSetSink(nullptr); }

    static std::vector<std::uint8_t> wave() {
        return WaveFile::ofFloats(std::vector<float>(600, 0.5F)).bytes();
    }

    int playedBy(const std::string &name) {
        _played = 0;
        _sounds->play(name);
        return _played;
    }

    TemporaryFolder _folder;
    std::optional<BundleSounds> _sounds;
    int _played = 0;
};

TEST_F(BundleSoundsTest, PlaysSoundsOfTheBundleAgainAndAgain) {
    EXPECT_EQ(playedBy("splash.wav"), 1);
    EXPECT_EQ(playedBy("splash.wav"), 1);
    EXPECT_EQ(playedBy("more/splash.wav"), 1);
}

TEST_F(BundleSoundsTest, AreSilentForEverythingElse) {
    const std::filesystem::path bundle = _folder.pathOf("x.bundle");
    std::filesystem::create_symlink("../outside.wav", bundle / "link.wav");
    std::filesystem::create_directory_symlink("..", bundle / "link");
    std::filesystem::rename(_folder.pathOf("pipe.wav"), bundle / "pipe.wav");
    for (const std::string &name :
         {std::string(), std::string("."), std::string(".."), std::string("missing.wav"),
          std::string("text.wav"), std::string("more"), std::string("../outside.wav"),
          std::string("more/../../outside.wav"), _folder.pathOf("outside.wav"),
          std::string("link.wav"), std::string("link/outside.wav"), std::string("pipe.wav")}) {
        EXPECT_EQ(playedBy(name), 0) << name;
    }
}

TEST_F(BundleSoundsTest, KeepFewSounds) {
    for (std::size_t i = 0; i < BundleSounds::kMaxSounds; ++i) {
        EXPECT_EQ(playedBy(std::string(i, '/') + "missing"), 0);
    }
    EXPECT_EQ(playedBy("splash.wav"), 0);
    EXPECT_EQ(playedBy(std::string(1'000'000, 'x')), 0);
}

} // namespace
