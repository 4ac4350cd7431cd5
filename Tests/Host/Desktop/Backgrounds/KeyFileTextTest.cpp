#include "Host/Desktop/Backgrounds/KeyFileText.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

constexpr const char *kText = "# comment\n[A]\nkey=1\nother=2\n\n[B]\nkey=3=4 \r\nkeys=5\n";

TEST(KeyFileText, GivesTheValueOfAKeyInItsGroup) {
    EXPECT_EQ(KeyFileText::valueIn(kText, "A", "key"), "1");
    EXPECT_EQ(KeyFileText::valueIn(kText, "B", "key"), "3=4 ");
    EXPECT_EQ(KeyFileText::valueIn(kText, "B", "other"), std::nullopt);
    EXPECT_EQ(KeyFileText::valueIn(kText, "C", "key"), std::nullopt);
    EXPECT_EQ(KeyFileText::valueIn("[A]\nkey=", "A", "key"), "");
    EXPECT_EQ(KeyFileText::valueIn("", "A", "key"), std::nullopt);
}

TEST(KeyFileText, ChangesOneValueAndNothingElse) {
    EXPECT_EQ(KeyFileText::withValue(kText, "A", "key", "x"),
              "# comment\n[A]\nkey=x\nother=2\n\n[B]\nkey=3=4 \r\nkeys=5\n");
    EXPECT_EQ(KeyFileText::withValue(kText, "B", "key", std::nullopt),
              "# comment\n[A]\nkey=1\nother=2\n\n[B]\nkeys=5\n");
    EXPECT_EQ(KeyFileText::withValue(kText, "A", "none", std::nullopt), kText);
    EXPECT_EQ(KeyFileText::withValue("[A]\nkey=1\nkey=2\n", "A", "key", "3"), "[A]\nkey=3\n");
}

TEST(KeyFileText, AddsWhatIsMissing) {
    EXPECT_EQ(KeyFileText::withValue("[A]\na=1\n[B]\n", "A", "key", "x"), "[A]\nkey=x\na=1\n[B]\n");
    EXPECT_EQ(KeyFileText::withValue("[A]", "A", "key", "x"), "[A]\nkey=x\n");
    EXPECT_EQ(KeyFileText::withValue("[B]\nb=1", "A", "key", "x"), "[B]\nb=1\n[A]\nkey=x\n");
    EXPECT_EQ(KeyFileText::withValue("", "A", "key", "x"), "[A]\nkey=x\n");
    EXPECT_EQ(KeyFileText::withValue("", "A", "key", std::nullopt), "");
}

TEST(KeyFileText, ReadsAndWritesTheEscapesOfGLib) {
    EXPECT_EQ(KeyFileText::fromGLib("\\s/a b\\\\\\tc\\nd"), " /a b\\\tc\nd");
    EXPECT_EQ(KeyFileText::toGLib(" /a b\\\tc\nd"), "\\s/a b\\\\\\tc\\nd");
    EXPECT_EQ(KeyFileText::fromGLib("/é\\"), "/é\\");
}

TEST(KeyFileText, ReadsTheEscapesOfQt) {
    EXPECT_EQ(KeyFileText::fromQt("/plain/a.png"), "/plain/a.png");
    EXPECT_EQ(KeyFileText::fromQt("\"/\\xe9 x,y;z.png\""), "/é x,y;z.png");
    EXPECT_EQ(KeyFileText::fromQt("/\\xd83c\\xdf38"), "/🌸");
    EXPECT_EQ(KeyFileText::fromQt("\"a\\\"b\\\\c\\n\""), "a\"b\\c\n");
    EXPECT_EQ(KeyFileText::fromQt("/é"), "/é");
    EXPECT_EQ(KeyFileText::fromQt("\""), "\"");
    EXPECT_EQ(KeyFileText::fromQt("a\\xd83c"), "a") << "half a character";
    EXPECT_EQ(KeyFileText::fromQt("a\\x"), std::string("a\0", 2));
}

TEST(KeyFileText, WritesForQtWhatItReads) {
    EXPECT_EQ(KeyFileText::toQt("/é x"), "\"/\\xe9 x\"");
    EXPECT_EQ(KeyFileText::toQt("éa"), "\"\\xe9\\x61\"") << "a would belong to the number";
    for (const char *text : {"/a.png", "/éa b\"c\\d\n", "🌸1", "", "a,b;c=%20", "\xff\\s\""}) {
        EXPECT_EQ(KeyFileText::fromQt(KeyFileText::toQt(text)), text);
    }
}

} // namespace
