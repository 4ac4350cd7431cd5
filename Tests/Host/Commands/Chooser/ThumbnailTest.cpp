#include "Host/Commands/Chooser/Thumbnail.h"

#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

using namespace Lumivera;

namespace {

std::uint32_t pixelAt(const CGImage &image, NSUInteger x, NSUInteger y) {
    return image.pixels()[y * image.width() + x];
}

TEST(Thumbnail, IsTheBackgroundWithRoundCorners) {
    const auto image = Thumbnail::read(shippedBundle("Lumivera.bundle"), {160, 100}, 2, 10);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 320u);
    EXPECT_EQ(image->height(), 200u);
    for (const NSUInteger x : {NSUInteger{0}, NSUInteger{319}}) {
        EXPECT_EQ(pixelAt(*image, x, 0) >> 24, 0u);
        EXPECT_EQ(pixelAt(*image, x, 199) >> 24, 0u);
        EXPECT_EQ(pixelAt(*image, x, 100) >> 24, 255u);
    }
    EXPECT_NE(pixelAt(*image, 160, 20), pixelAt(*image, 160, 120));
}

TEST(Thumbnail, IsNothingForABundleWithoutAPictureOrWithADamagedOne) {
    const TemporaryFolder folder;
    EXPECT_FALSE(Thumbnail::read(folder.path(), {160, 100}, 1, 10));
    std::ofstream(folder.pathOf("lumivera_background_.png")) << "no picture";
    EXPECT_FALSE(Thumbnail::read(folder.path(), {160, 100}, 1, 10));
    std::filesystem::remove(folder.pathOf("lumivera_background_.png"));
    std::filesystem::create_directory(folder.pathOf("lumivera_background_.png"));
    EXPECT_FALSE(Thumbnail::read(folder.path(), {160, 100}, 1, 10));
}

TEST(Thumbnail, IsNothingWithoutRoom) {
    const std::string bundle = shippedBundle("Lumivera.bundle");
    EXPECT_FALSE(Thumbnail::read(bundle, {0, 100}, 1, 10));
    EXPECT_FALSE(Thumbnail::read(bundle, {160, 0.2}, 1, 10));
}

TEST(RoundCorners, CutTheCornersAndNothingElse) {
    constexpr std::uint32_t white = 0xffffffff;
    std::vector<std::uint32_t> pixels(40 * 30, white);
    RoundCorners(8, {0.2, 0.4, 0.6, 1}).cut(pixels.data(), 40, 30);
    for (const std::size_t corner : {0, 39, 29 * 40, 29 * 40 + 39}) {
        EXPECT_EQ(pixels[corner], 0xff336699);
    }
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const std::size_t x = i % 40, y = i / 40;
        if ((x >= 8 && x < 32) || (y >= 8 && y < 22)) {
            EXPECT_EQ(pixels[i], white) << i;
        }
        EXPECT_EQ(pixels[i] >> 24, 255u);
    }
}

TEST(RoundCorners, LeaveAPictureThatIsSmallerThanThey) {
    std::vector<std::uint32_t> pixels(10 * 10, 0xffffffff);
    RoundCorners(8, {0, 0, 0, 1}).cut(pixels.data(), 10, 10);
    EXPECT_EQ(pixels, std::vector<std::uint32_t>(100, 0xffffffff));
}

} // namespace
