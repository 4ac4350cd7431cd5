#include "Host/Desktop/Configuration/Configuration.h"
#include "Host/Support/HostError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

using namespace Lumivera;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

Configuration parse(const std::string &text) { return Configuration::parse(text, "c.toml"); }

/// The complaint about a text; empty when there is none.
std::string problemOf(const std::string &text) {
    try {
        parse(text);
        return "";
    } catch (const HostError &error) {
        return error.what();
    }
}

std::string repeated(const std::string &text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

TEST(Configuration, IsEmptyForAnEmptyText) {
    EXPECT_EQ(parse(""), Configuration());
    EXPECT_EQ(parse("# nothing\n\n"), Configuration());
    EXPECT_EQ(parse("\xef\xbb\xbf"), Configuration());
}

TEST(Configuration, ReadsEveryKey) {
    const Configuration read = parse("wallpaper = '/w.bundle'\n"
                                     "petals = 30\nspeed = 2\nscale = 1.5\noffset = -7\n"
                                     "tint = \"#ff0000\"\nscale-level = 3\n"
                                     "on-battery = \"slow\"\npause-when-covered = false\n"
                                     "pause-when-locked = false\npause-when-idle = false\n"
                                     "layer = \"over\"\ntrust = true\ndensity = 2\n");
    WallpaperChoice choice;
    choice.bundle = "/w.bundle";
    choice.petals = 30;
    choice.speed = 2;
    choice.scale = 1.5;
    choice.offset = -7;
    choice.tint = CGColor{1, 0, 0, 1};
    choice.scaleLevel = 3;
    EXPECT_EQ(read.choice(), choice);
    EXPECT_EQ(read.pauseOptions(),
              (PauseOptions{PauseOptions::OnBattery::Slow, false, false, false}));
    EXPECT_EQ(read.layer(), LayerChoice::Over);
    EXPECT_EQ(read.trusts(), true);
    EXPECT_EQ(read.density(), 2);
}

TEST(Configuration, ReadsEveryLayer) {
    EXPECT_EQ(parse("layer = \"auto\"").layer(), LayerChoice::Automatic);
    EXPECT_EQ(parse("layer = \"behind\"").layer(), LayerChoice::Behind);
    EXPECT_EQ(parse("layer = \"background\"").layer(), LayerChoice::Background);
    EXPECT_EQ(parse("layer = \"bottom\"").layer(), LayerChoice::Bottom);
}

TEST(Configuration, ReadsEveryWordForTheBattery) {
    using OnBattery = PauseOptions::OnBattery;
    EXPECT_EQ(parse("on-battery = \"run\"").pauseOptions().onBattery, OnBattery::Run);
    EXPECT_EQ(parse("on-battery = \"slow\"").pauseOptions().onBattery, OnBattery::Slow);
    EXPECT_EQ(parse("on-battery = \"pause\"").pauseOptions().onBattery, OnBattery::Pause);
}

TEST(Configuration, PutsWhatIsSaidForOneOutputOverWhatIsSaidForAll) {
    const Configuration read =
        parse("petals = 1\nspeed = 1\n[output.DP-1]\npetals = 2\n[output.\"a b\"]\nscale = 3\n");
    EXPECT_EQ(read.choiceFor("DP-1").petals, 2U);
    EXPECT_EQ(read.choiceFor("DP-1").speed, 1);
    EXPECT_EQ(read.choiceFor("a b").petals, 1U);
    EXPECT_EQ(read.choiceFor("a b").scale, 3);
    EXPECT_EQ(read.choiceFor("elsewhere"), read.choice());
    EXPECT_EQ(read.outputChoices().size(), 2U);
}

TEST(Configuration, RefusesValuesOfTheWrongTypeForEveryKey) {
    const std::string values[] = {"\"30\"", "true", "1.5", "[1]", "{a = 1}", "1979-05-27", "3"};
    const std::pair<std::string, std::set<std::string>> keysAndTakenValues[] = {
        {"wallpaper", {"\"30\""}},
        {"petals", {"3"}},
        {"speed", {"3"}},
        {"scale", {"1.5", "3"}},
        {"offset", {"1.5", "3"}},
        {"tint", {}},
        {"scale-level", {"3"}},
        {"on-battery", {}},
        {"pause-when-covered", {"true"}},
        {"pause-when-locked", {"true"}},
        {"pause-when-idle", {"true"}},
        {"layer", {}},
        {"trust", {"true"}},
        {"density", {"1.5", "3"}},
    };
    for (const auto &[key, taken] : keysAndTakenValues) {
        for (const std::string &value : values) {
            const std::string problem = problemOf("\n" + key + " = " + value);
            if (taken.contains(value)) {
                EXPECT_EQ(problem, "") << key << " = " << value;
            } else {
                EXPECT_THAT(problem, StartsWith("c.toml:2: \"" + key + "\" is not "))
                    << key << " = " << value;
            }
        }
    }
}

TEST(Configuration, NamesTheFileTheLineAndTheKey) {
    EXPECT_EQ(problemOf("# a\nspeed = 1\npetals = -1\n"),
              "c.toml:3: \"petals\" is not a whole number from 0 to 1000000");
    EXPECT_EQ(problemOf("[output.X]\n\npetals = \"1\"\n"),
              "c.toml:3: \"petals\" is not a whole number from 0 to 1000000");
    EXPECT_EQ(problemOf("on-battery = \"walk\""),
              "c.toml:1: \"on-battery\" is not \"run\", \"slow\" or \"pause\"");
    EXPECT_EQ(problemOf("density = 0.05"), "c.toml:1: \"density\" is not a number from 0.1 to 10");
    EXPECT_EQ(problemOf("density = nan"), "c.toml:1: \"density\" is not a number from 0.1 to 10");
}

TEST(Configuration, ListsTheKeysWhenOneIsUnknown) {
    EXPECT_THAT(problemOf("\npetal = 1"), StartsWith("c.toml:2: \"petal\" is no key; use one of "
                                                     "wallpaper, petals, speed,"));
    EXPECT_THAT(problemOf("[output.X]\npetal = 1"),
                StartsWith("c.toml:2: \"petal\" is no key of an output; use one of wallpaper,"));
    EXPECT_THAT(problemOf("[outputs.X]\npetals = 1"), HasSubstr("\"outputs\" is no key"));
}

TEST(Configuration, SaysThatAGeneralKeyStandsBelowAnOutput) {
    EXPECT_EQ(problemOf("[output.X]\ntrust = true"),
              "c.toml:2: \"trust\" is for all outputs together; move it above the first "
              "[output.NAME]");
}

TEST(Configuration, RefusesOutputsThatAreNoTables) {
    EXPECT_THAT(problemOf("output = 1"), StartsWith("c.toml:1: \"output\" is no table; write"));
    EXPECT_THAT(problemOf("[output]\npetals = 1"),
                StartsWith("c.toml:2: \"petals\" is no output with keys; write"));
    EXPECT_THAT(problemOf("[[output.X]]\npetals = 1"), HasSubstr("\"X\" is no output with keys"));
    EXPECT_THAT(problemOf("[output.\"\"]\npetals = 1"), HasSubstr("is no output with keys"));
}

TEST(Configuration, NamesTheLineOfBrokenTOML) {
    EXPECT_THAT(problemOf("petals = 1\nspeed =\n"), StartsWith("c.toml:2: "));
    EXPECT_THAT(problemOf("petals = 1\npetals = 2\n"), StartsWith("c.toml:2: "));
    EXPECT_THAT(problemOf("wallpaper = \"x"), StartsWith("c.toml:1: "));
    EXPECT_THAT(problemOf("petals = 99999999999999999999999999"), StartsWith("c.toml:1: "));
}

TEST(Configuration, NamesTheLineOfBytesThatAreNoUTF8) {
    EXPECT_EQ(problemOf("petals = 1\n# \xff\nspeed = 1\n"),
              "c.toml:2: is not UTF-8; save the file as UTF-8");
    EXPECT_EQ(problemOf("wallpaper = '\xc3'"), "c.toml:1: is not UTF-8; save the file as UTF-8");
}

TEST(Configuration, RefusesATextThatIsTooLarge) {
    EXPECT_EQ(problemOf("#" + std::string(Configuration::kMaxBytes, ' ')),
              "c.toml: is larger than 1 MiB; shorten it");
    EXPECT_EQ(problemOf("#" + std::string(Configuration::kMaxBytes - 1, ' ')), "");
}

TEST(Configuration, ResolvesPathsFromItsFolderAndTheHome) {
    Configuration read = parse("wallpaper = 'a/b'\n[output.X]\nwallpaper = '~/c'\n"
                               "[output.Y]\nwallpaper = '/d'\n[output.Z]\nwallpaper = 'Maple'\n");
    read.resolvePaths("/folder", "/home");
    EXPECT_EQ(read.choice().bundle, "/folder/a/b");
    EXPECT_EQ(read.choiceFor("X").bundle, "/home/c");
    EXPECT_EQ(read.choiceFor("Y").bundle, "/d");
    EXPECT_EQ(read.choiceFor("Z").bundle, "Maple");
}

TEST(Configuration, RefusesTablesInTablesWithoutEnd) {
    EXPECT_NE(problemOf("a" + repeated(".a", 400'000) + " = 1"), "");
    EXPECT_NE(problemOf("a" + repeated(".a", 3900) + " = 1"), "");
    EXPECT_NE(problemOf("[a" + repeated(".a", 3900) + "]"), "");
    EXPECT_NE(problemOf("a = " + repeated("[", 500'000)), "");
    EXPECT_NE(problemOf("a = " + repeated("{a = ", 200'000)), "");
}

} // namespace
