#include "Host/Wallpapers/ColorText.h"

#include "Host/Support/HostError.h"

#include <gtest/gtest.h>

#include <ostream>

using namespace Lumivera;

namespace {

struct Writing {
    const char *text;
    int red, green, blue, alpha;
};

std::ostream &operator<<(std::ostream &stream, const Writing &writing) {
    return stream << writing.text;
}

class ColorText : public ::testing::TestWithParam<Writing> {};

class NoColorText : public ::testing::TestWithParam<const char *> {};

} // namespace

TEST_P(ColorText, IsThatColor) {
    const CGColor color = colorFromText("--tint", GetParam().text);
    const auto byte = [](int value) { return static_cast<CGFloat>(value) / 255; };
    EXPECT_EQ(color, (CGColor{byte(GetParam().red), byte(GetParam().green), byte(GetParam().blue),
                              byte(GetParam().alpha)}));
}

INSTANTIATE_TEST_SUITE_P(
    Writings, ColorText,
    ::testing::Values(Writing{"#123", 0x11, 0x22, 0x33, 255},
                      Writing{"#1238", 0x11, 0x22, 0x33, 0x88}, Writing{"#010203", 1, 2, 3, 255},
                      Writing{"#01020304", 1, 2, 3, 4}, Writing{"#FfAa00", 255, 0xaa, 0, 255},
                      Writing{"red", 255, 0, 0, 255}, Writing{"Teal", 0, 128, 128, 255},
                      Writing{"black", 0, 0, 0, 255}, Writing{"white", 255, 255, 255, 255},
                      Writing{"grey", 128, 128, 128, 255}, Writing{"gray", 128, 128, 128, 255},
                      Writing{"orange", 255, 165, 0, 255}));

TEST_P(NoColorText, IsAUsageErrorThatSaysHowToWriteOne) {
    try {
        colorFromText("--tint", GetParam());
        FAIL() << "was taken for a colour";
    } catch (const UsageError &error) {
        const std::string line = error.what();
        EXPECT_EQ(line.find("--tint: "), 0u);
        EXPECT_NE(line.find("#rrggbb"), std::string::npos);
        EXPECT_EQ(line.find('\n'), std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(Writings, NoColorText,
                         ::testing::Values("", "#", "#1", "#12", "#12345", "#1234567", "#123456789",
                                           "#12g", "123456", "blueish", " red", "red ", "#-12",
                                           "rgb(1,2,3)", "a\nb"));
