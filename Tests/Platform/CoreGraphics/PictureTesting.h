#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSFileManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

/// A stored sample picture.
inline std::vector<std::uint8_t> samplePicture(const std::string &name) {
    const auto bytes = readFile(LUMIVERA_SOURCE_DIR "/Tests/Data/Pictures/" + name, 1 << 20);
    EXPECT_TRUE(bytes) << name;
    return bytes ? *bytes : std::vector<std::uint8_t>();
}

inline std::uint32_t pixelAt(const CGImage &image, NSUInteger x, NSUInteger y) {
    return image.pixels()[y * image.width() + x];
}

/// The largest difference of two pixels' components.
inline int differenceOf(std::uint32_t left, std::uint32_t right) {
    int largest = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        const int difference =
            static_cast<int>(left >> shift & 0xff) - static_cast<int>(right >> shift & 0xff);
        largest = std::max(largest, std::abs(difference));
    }
    return largest;
}
