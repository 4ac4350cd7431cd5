#include "Host/Playing/Script.h"

#include "Host/Support/HostError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Lumivera::HostError;
using Lumivera::Script;
using Lumivera::ScriptEvent;
using ::testing::HasSubstr;

namespace {

std::string complaint(const std::string &text) {
    try {
        Script::parse(text, "s.json");
    } catch (const HostError &error) {
        return error.what();
    }
    return "none";
}

TEST(Script, OrdersEventsByFrameAndKeepsTheListsOrderWithinOne) {
    const Script script = Script::parse(R"({"events": [{"frame": 9, "offset": 1},
        {"frame": 2, "offset": 2}, {"frame": 9, "offset": 3}]})",
                                        "s.json");
    ASSERT_EQ(script.events().size(), 3u);
    EXPECT_EQ(script.events()[0].numbers[0], 2);
    EXPECT_EQ(script.events()[1].numbers[0], 1);
    EXPECT_EQ(script.events()[2].numbers[0], 3);
    EXPECT_EQ(script.events()[2].index, 2u);
}

TEST(Script, ReadsTheNumbersInTheOrderInWhichTheyStand) {
    const Script script =
        Script::parse(R"({"events": [{"frame": 0, "tapClipRect": [1, 2.5, 3, -4]}]})", "s.json");
    const ScriptEvent &event = script.events().at(0);
    EXPECT_EQ(event.kind, ScriptEvent::Kind::TapClipRect);
    EXPECT_EQ(event.numbers, (std::array<double, 4>{1, 2.5, 3, -4}));
}

TEST(Script, MayBeEmpty) {
    EXPECT_TRUE(Script::parse(R"({"events": []})", "s.json").events().empty());
}

class BrokenScript : public ::testing::TestWithParam<std::pair<const char *, const char *>> {};

TEST_P(BrokenScript, IsRefusedWithTheReason) {
    EXPECT_THAT(complaint(GetParam().first), HasSubstr(GetParam().second));
}

INSTANTIATE_TEST_SUITE_P(
    All, BrokenScript,
    ::testing::Values(
        std::pair("", "s.json: is no JSON"), std::pair("[]", "s.json: is no script"),
        std::pair(R"({"events": {}})", "is no script"),
        std::pair(R"({"events": [], "more": 1})", "is no script"),
        std::pair(R"({"events": [7]})", "event 0 must have \"frame\""),
        std::pair(R"({"events": [{"frame": 1}]})", "event 0 must have \"frame\""),
        std::pair(R"({"events": [{"frame": 1, "offset": 1, "scale": 1}]})", "event 0 must have"),
        std::pair(R"({"events": [{"frame": -1, "offset": 1}]})", "beyond its limits"),
        std::pair(R"({"events": [{"frame": 0.5, "offset": 1}]})", "a whole number for \"frame\""),
        std::pair(R"({"events": [{"frame": 0, "tap": [1]}]})", "2 numbers in a list for \"tap\""),
        std::pair(R"({"events": [{"frame": 0, "tap": 1}]})", "2 numbers in a list for \"tap\""),
        std::pair(R"({"events": [{"frame": 0, "tap": [1, "2"]}]})", "a number for \"tap\""),
        std::pair(R"({"events": [{"frame": 0, "offset": [1]}]})", "1 number for \"offset\""),
        std::pair(R"({"events": [{"frame": 0, "offset": 100001}]})", "beyond its limits"),
        std::pair(R"({"events": [{"frame": 0, "offset": 1e99}]})", "beyond its limits"),
        std::pair(R"({"events": [{"frame": 0, "scale": 0.009}]})", "beyond its limits"),
        std::pair(R"({"events": [{"frame": 0, "scale": 100.1}]})", "beyond its limits"),
        std::pair(R"({"events": [{"frame": 0, "sakuraCount": 1.5}]})", "a whole number"),
        std::pair(R"({"events": [{"frame": 0, "sakuraCount": 99999999}]})", "beyond its limits"),
        std::pair(R"({"events": [{"frame": 0, "speedLevel": -1}]})", "beyond its limits"),
        std::pair(R"({"events": [{"frame": 0, "gesture": [1.5, 0, 0]}]})", "a whole number"),
        std::pair(R"({"events": [{"frame": 0, "setFrame": [0, 0, -1, 1]}]})", "0 or more"),
        std::pair(R"({"events": [{"frame": 0, "pause": false}]})", "true for \"pause\""),
        std::pair(R"({"events": [{"frame": 0, "fly": 1}]})", "unknown kind \"fly\"")));

TEST(Script, SurvivesDeepNesting) {
    EXPECT_THAT(complaint(std::string(200'000, '[')), HasSubstr("is no JSON"));
    EXPECT_THAT(
        complaint(R"({"events": )" + std::string(200'000, '[') + std::string(200'000, ']') + "}"),
        HasSubstr("event 0 must have"));
}

} // namespace
