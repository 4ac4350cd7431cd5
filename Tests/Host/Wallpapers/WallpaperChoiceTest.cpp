#include "Host/Wallpapers/WallpaperChoice.h"
#include "Host/Support/HostError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

TEST(WallpaperChoice, TakesTheLimitsOfEveryKey) {
    const std::pair<const char *, const char *> values[] = {
        {"wallpaper", "/a b/c.bundle"},
        {"petals", "0"},
        {"petals", "1000000"},
        {"speed", "0"},
        {"speed", "2147483647"},
        {"scale", "0.01"},
        {"scale", "100"},
        {"offset", "-100000"},
        {"offset", "100000"},
        {"offset", "1e3"},
        {"tint", "none"},
        {"tint", "teal"},
        {"tint", "#12345678"},
        {"scale-level", "-1000"},
        {"scale-level", "1000"},
    };
    for (const auto &[key, text] : values) {
        WallpaperChoice choice;
        EXPECT_EQ(choice.trySet(key, text), "") << key << " " << text;
        EXPECT_TRUE(choice.textOf(key)) << key << " " << text;
    }
}

TEST(WallpaperChoice, TakesNothingBeyondTheLimits) {
    const std::string longPath(4097, 'x');
    const std::pair<const char *, std::string> values[] = {
        {"wallpaper", ""},       {"wallpaper", std::string("a\0b", 3)},
        {"wallpaper", longPath}, {"petals", "-1"},
        {"petals", "1000001"},   {"petals", "1.5"},
        {"petals", ""},          {"petals", " 1"},
        {"petals", "1 "},        {"petals", "99999999999999999999999"},
        {"speed", "-1"},         {"speed", "2147483648"},
        {"scale", "0"},          {"scale", "0.009"},
        {"scale", "100.1"},      {"scale", "nan"},
        {"scale", "inf"},        {"scale", "1,5"},
        {"offset", "100001"},    {"offset", "-1e9"},
        {"offset", "nan"},       {"tint", "reddish"},
        {"tint", "#12"},         {"scale-level", "1001"},
        {"scale-level", "1.0"},  {"scale-level", "0x1"},
    };
    for (const auto &[key, text] : values) {
        WallpaperChoice choice;
        EXPECT_THAT(choice.trySet(key, text), HasSubstr(key)) << key << " " << text;
        EXPECT_EQ(choice, WallpaperChoice()) << key << " " << text;
    }
}

TEST(WallpaperChoice, KeepsItsValueWhenAnotherIsRefused) {
    WallpaperChoice choice;
    choice.petals = 7;
    choice.trySet("petals", "many");
    EXPECT_EQ(choice.petals, 7U);
}

TEST(WallpaperChoice, TakesAValueAwayByTheWordDefault) {
    for (const WallpaperChoice::Key &key : WallpaperChoice::keys()) {
        WallpaperChoice choice;
        choice.bundle = "x";
        choice.petals = 1;
        choice.speed = 1;
        choice.scale = 1;
        choice.offset = 1;
        choice.tint = CGColor{1, 0, 0, 1};
        choice.scaleLevel = 1;
        choice.set("test", key.name, "default");
        EXPECT_FALSE(choice.textOf(key.name)) << key.name;
    }
}

TEST(WallpaperChoice, WritesEveryValueSoThatItReadsBack) {
    WallpaperChoice choice;
    choice.bundle = "Lumivera";
    choice.petals = 120;
    choice.speed = 3;
    choice.scale = 0.1;
    choice.offset = -12.25;
    choice.tint = CGColor{1, 0, 0.2, 0.4};
    choice.scaleLevel = -2;
    WallpaperChoice read;
    for (const WallpaperChoice::Key &key : WallpaperChoice::keys()) {
        read.set("test", key.name, choice.textOf(key.name).value());
    }
    EXPECT_EQ(read, choice);
}

TEST(WallpaperChoice, TakesOverOnlyWhatTheOtherHas) {
    WallpaperChoice choice;
    choice.petals = 1;
    choice.speed = 1;
    WallpaperChoice other;
    other.speed = 2;
    other.offset = 5;
    choice.apply(other);
    EXPECT_EQ(choice.petals, 1U);
    EXPECT_EQ(choice.speed, 2);
    EXPECT_EQ(choice.offset, 5);
}

TEST(WallpaperValues, TellWhatHasChanged) {
    WallpaperValues before;
    before.petals = 1;
    before.speed = 1;
    before.scale = 1;
    WallpaperValues now = before;
    EXPECT_EQ(now.changesSince(before), WallpaperValues());
    EXPECT_FALSE(now.lacksAnyOf(before));
    now.speed = 2;
    now.offset = 5;
    now.scale.reset();
    WallpaperValues changes;
    changes.speed = 2;
    changes.offset = 5;
    EXPECT_EQ(now.changesSince(before), changes);
    EXPECT_TRUE(now.lacksAnyOf(before)) << "the scale";
}

TEST(WallpaperValues, StayTheSameAsBytes) {
    WallpaperValues values;
    EXPECT_EQ(bytesOf(values), WallpaperBytes());
    EXPECT_EQ(valuesFrom(bytesOf(values)), values);
    values.petals = 120;
    values.scale = 0.1;
    values.tint = CGColor{1, 0, 0.2, 0.4};
    values.scaleLevel = -2;
    EXPECT_EQ(valuesFrom(bytesOf(values)), values);
    values.speed = 3;
    values.offset = -12.25;
    EXPECT_EQ(valuesFrom(bytesOf(values)), values);
}

TEST(WallpaperChoice, SaysWhatEveryOptionTakes) {
    for (const WallpaperChoice::Key &key : WallpaperChoice::keys()) {
        EXPECT_EQ(key.option.empty(), key.name == "wallpaper") << key.name;
        EXPECT_EQ(key.help.empty(), key.name == "wallpaper") << key.name;
        EXPECT_EQ(WallpaperChoice::findKey(key.name), &key);
    }
    EXPECT_EQ(WallpaperChoice::findKey("scale")->range, "a number from 0.01 to 100");
    EXPECT_EQ(WallpaperChoice::findKey("offset")->range, "a number from -100000 to 100000");
    EXPECT_EQ(WallpaperChoice::findKey("Scale"), nullptr);
}

TEST(WallpaperChoice, ShadesNothingWithTheTintNone) {
    WallpaperChoice choice;
    choice.set("test", "tint", "none");
    EXPECT_EQ(choice.tint->alpha, 0);
    EXPECT_EQ(choice.textOf("tint"), "none");
}

TEST(WallpaperChoice, NamesTheSubjectAndTheKeyOfAMistake) {
    try {
        WallpaperChoice().set("ctl set", "petals", "many");
        FAIL();
    } catch (const UsageError &error) {
        EXPECT_STREQ(error.what(), "ctl set: \"petals\" is not a whole number from 0 to 1000000");
    }
}

TEST(WallpaperChoice, ListsTheKeysWhenOneIsUnknown) {
    EXPECT_EQ(WallpaperChoice().trySet("petal", "1"),
              "\"petal\" is no key; use one of wallpaper, petals, speed, scale, offset, tint, "
              "scale-level");
}

} // namespace
