#include "Platform/Foundation/NSString.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace std::string_view_literals;

std::optional<std::string> fromUTF16(std::vector<std::uint8_t> bytes) {
    return utf8FromBigEndianUTF16(bytes);
}

TEST(UnicodeText, EscapesWhatATerminalObeys) {
    EXPECT_EQ(withoutControls("a\n\x7f\tb\r"sv), R"(a\n\x7f\tb\r)");
    EXPECT_EQ(withoutControls("\x1b[2J"sv), R"(\x1b[2J)");
    EXPECT_EQ(withoutControls("\0"sv), R"(\x00)");
    EXPECT_EQ(withoutControls("\xc2\x9b"
                              "2J"sv),
              R"(\x9b2J)")
        << "a C1 control in UTF-8";
    EXPECT_EQ(withoutControls("p\xc3\xa9tale \xc2\xa0"sv), "p\xc3\xa9tale \xc2\xa0");
}

TEST(UnicodeText, EscapesWhatChangesTheOrderOfTheTextAroundIt) {
    EXPECT_EQ(withoutControls("\u202egnp.exe"), R"(\u202egnp.exe)");
    EXPECT_EQ(withoutControls("\u061c\u200e\u200f\u202a\u2066\u2069"),
              R"(\u061c\u200e\u200f\u202a\u2066\u2069)");
    EXPECT_EQ(withoutControls("a\u2028b\u2029"), R"(a\u2028b\u2029)");
    EXPECT_EQ(withoutControls("\u200d\u2027\u202f\u2065\u2070"), "\u200d\u2027\u202f\u2065\u2070");
}

TEST(UnicodeText, EscapesBytesThatAreNoUTF8) {
    EXPECT_EQ(withoutControls("\xc2"sv), R"(\xc2)");
    EXPECT_EQ(withoutControls("a\x9b\xc3\xa9\xff"sv), "a\\x9b\xc3\xa9\\xff");
    EXPECT_EQ(withoutControls("\xe2\x80"sv), R"(\xe2\x80)");
}

TEST(UnicodeText, StaysTheSameWhenItIsEscapedTwice) {
    const std::string once = withoutControls("\x1b\n\u202e\xff\\n");
    EXPECT_EQ(withoutControls(once), once);
}

TEST(UnicodeText, IsValidWhateverTheLengthOfItsCharacters) {
    for (const auto text : {""sv, "petal"sv, "p\0tal"sv, "\xc3\xa9"sv, "\xe6\xa1\x9c"sv,
                            "\xf0\x9f\x8c\xb8"sv, "\xf4\x8f\xbf\xbf"sv, "\xef\xbf\xbf"sv}) {
        EXPECT_TRUE(isValidUTF8(text)) << text;
    }
}

TEST(UnicodeText, IsInvalidWhenItIsNotWellFormed) {
    const std::string_view invalid[] = {
        "\x80"sv,             // a continuation alone
        "a\xff"sv,            // a byte that never occurs
        "\xc3"sv,             // cut short
        "\xe6\xa1"sv,         //
        "\xf0\x9f\x8c"sv,     //
        "\xc3z"sv,            // no continuation
        "\xc0\x80"sv,         // overlong
        "\xe0\x80\x80"sv,     //
        "\xf0\x80\x80\x80"sv, //
        "\xed\xa0\x80"sv,     // a surrogate
        "\xf4\x90\x80\x80"sv, // beyond the last character
    };
    for (const auto text : invalid) {
        EXPECT_FALSE(isValidUTF8(text)) << testing::PrintToString(text);
    }
}

TEST(UnicodeText, HasAUTF16UnitForEachCharacterOfTheBasicPlane) {
    EXPECT_EQ(utf16Length(""), 0u);
    EXPECT_EQ(utf16Length("a.png"), 5u);
    EXPECT_EQ(utf16Length("caf\xc3\xa9"), 4u);
    EXPECT_EQ(utf16Length("\xe6\xa1\x9c\xe3\x81\xae"), 2u);
    EXPECT_EQ(utf16Length("\xef\xbf\xbf"), 1u);
    EXPECT_EQ(utf16Length("a\0b"sv), 3u);
}

TEST(UnicodeText, HasTwoUTF16UnitsForEachCharacterBeyondIt) {
    EXPECT_EQ(utf16Length("\xf0\x90\x80\x80"), 2u);
    EXPECT_EQ(utf16Length("\xf0\x9f\x8c\xb8 \xf0\x9f\x8c\xb8"), 5u);
}

TEST(UnicodeText, CountsEachInvalidByteAsOneUnit) {
    EXPECT_EQ(utf16Length("\xff"), 1u);
    EXPECT_EQ(utf16Length("a\xe6\xa1z"), 4u);
    EXPECT_EQ(utf16Length("\xed\xa0\x80"), 3u);
    EXPECT_EQ(utf16Length("\x80\xf0\x9f\x8c\xb8\x80"), 4u);
    EXPECT_EQ(utf16Length("\xf0\x9f\x8c"), 3u);
}

TEST(UnicodeText, IsReadFromUTF16) {
    EXPECT_EQ(fromUTF16({}), "");
    EXPECT_EQ(fromUTF16({0x00, 'a', 0x00, 0xe9, 0x68, 0x5c}), "a\xc3\xa9\xe6\xa1\x9c");
    EXPECT_EQ(fromUTF16({0xd8, 0x3c, 0xdf, 0x38}), "\xf0\x9f\x8c\xb8");
    EXPECT_EQ(fromUTF16({0x00, 0x00, 0x00, 'a'}), "\0a"sv);
}

TEST(UnicodeText, IsNothingWhenASurrogateStandsAlone) {
    EXPECT_FALSE(fromUTF16({0xd8, 0x3c}));
    EXPECT_FALSE(fromUTF16({0xd8, 0x3c, 0x00, 'a'}));
    EXPECT_FALSE(fromUTF16({0xdf, 0x38}));
    EXPECT_FALSE(fromUTF16({0xdf, 0x38, 0xd8, 0x3c}));
    EXPECT_FALSE(fromUTF16({0xd8, 0x3c, 0xd8, 0x3c, 0xdf, 0x38}));
}

TEST(UnicodeText, IsNothingWhenUTF16EndsInTheMiddleOfAUnit) {
    EXPECT_FALSE(fromUTF16({0x00}));
    EXPECT_FALSE(fromUTF16({0x00, 'a', 0x00}));
}

} // namespace
