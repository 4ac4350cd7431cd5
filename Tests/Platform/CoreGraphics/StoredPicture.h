#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Platform/CoreGraphics/PictureTesting.h"

#include <filesystem>
#include <fstream>

/// Writes a picture to the build folder, for looking into a failure.
inline void keepPicture(const std::string &name, const CGImage &image) {
    const std::filesystem::path folder = LUMIVERA_BUILD_DIR "/failed-pictures";
    std::filesystem::create_directories(folder);
    const auto bytes = encodePNG(image.pixels(), image.width(), image.height(), image.width(), 6);
    std::ofstream(folder / name, std::ios::binary)
        .write(reinterpret_cast<const char *>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

/// Compares a picture with a stored one: no component may differ by more than `largest`, and all of
/// them together by at most `total`. On failure both pictures and ten times their difference are
/// written to the build folder under the name.
inline void expectStoredPicture(const CGImage &actual, const std::string &file, int largest,
                                long long total, const std::string &name) {
    const auto bytes = readFile(file, 16 << 20);
    ASSERT_TRUE(bytes) << file;
    const auto expected = CGImageCreateWithData(*bytes);
    ASSERT_TRUE(expected) << file;
    ASSERT_EQ(actual.width(), expected->width());
    ASSERT_EQ(actual.height(), expected->height());
    PixelBuffer differences;
    int largestFound = 0;
    long long totalFound = 0;
    for (std::size_t i = 0; i < actual.width() * actual.height(); ++i) {
        const int difference = differenceOf(actual.pixels()[i], expected->pixels()[i]);
        largestFound = std::max(largestFound, difference);
        totalFound += difference;
        const auto shade = static_cast<std::uint32_t>(std::min(difference * 10, 255));
        differences.push_back(0xff000000 | shade * 0x010101);
    }
    EXPECT_LE(largestFound, largest);
    EXPECT_LE(totalFound, total);
    if (largestFound > largest || totalFound > total) {
        keepPicture(name + "-actual.png", actual);
        keepPicture(name + "-expected.png", *expected);
        keepPicture(name + "-difference.png",
                    *CGImage::imageWithPixels(actual.width(), actual.height(), differences));
    }
}
