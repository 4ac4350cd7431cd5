#include "Platform/CoreGraphics/PixelBuffer.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(Premultiplication, RoundsToTheNearest) {
    for (std::uint32_t alpha = 0; alpha <= 255; ++alpha) {
        for (std::uint32_t component = 0; component <= 255; ++component) {
            const double exact = component * static_cast<double>(alpha) / 255;
            ASSERT_EQ(premultipliedComponent(component, alpha), std::lround(exact));
        }
    }
}

TEST(Premultiplication, ComesBackUnchangedFromTheWayOut) {
    for (std::uint32_t alpha = 0; alpha <= 255; ++alpha) {
        for (std::uint32_t component = 0; component <= alpha; ++component) {
            const auto out = unpremultipliedComponent(component, alpha);
            ASSERT_EQ(premultipliedComponent(out, alpha), component) << "alpha " << alpha;
        }
    }
}

TEST(Premultiplication, GivesNoMoreThanFullColorForColorsBeyondTheirAlpha) {
    EXPECT_EQ(unpremultipliedComponent(200, 100), 255u);
    EXPECT_EQ(unpremultipliedComponent(200, 0), 0u);
}

TEST(Premultiplication, PacksAlphaRedGreenBlue) {
    EXPECT_EQ(premultipliedPixel(0x11, 0x22, 0x33, 0xff), 0xff112233u);
    EXPECT_EQ(premultipliedPixel(255, 100, 1, 128), 0x80803201u);
    EXPECT_EQ(premultipliedPixel(255, 255, 255, 0), 0u);
}
