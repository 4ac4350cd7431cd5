#include "Host/Desktop/Control/ControlRequest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

using Action = ControlRequest::Action;

ControlRequest parse(const std::string &text) { return ControlRequest::parse(text); }

std::string problemOf(const std::string &text) { return parse(text).problem; }

TEST(ControlRequest, TakesTheSimpleActions) {
    const std::pair<const char *, Action> actions[] = {{"status", Action::Status},
                                                       {"pause", Action::Pause},
                                                       {"resume", Action::Resume},
                                                       {"keep", Action::Keep},
                                                       {"quit", Action::Quit}};
    for (const auto &[name, action] : actions) {
        const auto request = parse(std::string("{\"do\":\"") + name + "\"}");
        EXPECT_EQ(request.problem, "");
        EXPECT_EQ(request.action, action);
        EXPECT_EQ(request.output, "");
    }
}

TEST(ControlRequest, TakesTheLineAfterWhichTheLogIsWanted) {
    EXPECT_EQ(parse(R"({"do":"log"})").action, Action::Log);
    EXPECT_EQ(parse(R"({"do":"log"})").after, 0U);
    EXPECT_EQ(parse(R"({"do":"log","after":17,"output":"DP-1"})").after, 17U);
    for (const char *after : {"-1", "1.5", "1e300", "\"1\"", "true"}) {
        EXPECT_NE(problemOf(std::string(R"({"do":"log","after":)") + after + "}"), "") << after;
    }
    EXPECT_EQ(problemOf(R"({"do":"status","after":1})"), "\"after\" is no field of \"status\"");
}

TEST(ControlRequest, TakesTheNameOfAnOutput) {
    EXPECT_EQ(parse(R"({"output":"DP-1","do":"pause"})").output, "DP-1");
}

TEST(ControlRequest, SetsAKeyFromATextOrANumber) {
    EXPECT_EQ(parse(R"({"do":"set","key":"petals","value":"30"})").choice.petals, 30U);
    EXPECT_EQ(parse(R"({"do":"set","key":"petals","value":30})").choice.petals, 30U);
    EXPECT_EQ(parse(R"({"do":"set","key":"offset","value":-2.5})").choice.offset, -2.5);
    EXPECT_EQ(parse(R"({"do":"set","key":"petals","value":30})").action, Action::Choose);
}

TEST(ControlRequest, RefusesValuesBeyondAKeysLimits) {
    EXPECT_EQ(problemOf(R"({"do":"set","key":"petals","value":1000001})"),
              "\"petals\" is not a whole number from 0 to 1000000");
    EXPECT_EQ(problemOf(R"({"do":"set","key":"petals","value":1.5})"),
              "\"petals\" is not a whole number from 0 to 1000000");
    EXPECT_THAT(problemOf(R"({"do":"set","key":"wings","value":1})"), HasSubstr("is no key"));
    EXPECT_EQ(problemOf(R"({"do":"set","key":"petals","value":true})"),
              "\"value\" is neither a text nor a number");
}

TEST(ControlRequest, TakesAPlace) {
    const auto request = parse(R"({"do":"tap","x":10,"y":-20.5})");
    EXPECT_EQ(request.action, Action::Tap);
    EXPECT_EQ(request.point, CGPointMake(10, -20.5));
}

TEST(ControlRequest, TakesWhatCoversAnOutput) {
    const auto cover = [](const std::string &state) {
        return parse(R"({"do":"cover","output":"DP-1","state":")" + state + "\"}");
    };
    EXPECT_EQ(cover("none").action, Action::Cover);
    EXPECT_EQ(cover("none").cover, SurfaceVisibility::Visible);
    EXPECT_EQ(cover("covered").cover, SurfaceVisibility::Covered);
    EXPECT_EQ(cover("fullscreen").cover, SurfaceVisibility::FullScreen);
    EXPECT_EQ(cover("unknown").cover, std::nullopt);
    EXPECT_EQ(cover("unknown").problem, "");
}

TEST(ControlRequest, RefusesCoversThatAreNone) {
    EXPECT_EQ(problemOf(R"({"do":"cover"})"), "\"state\" is missing");
    EXPECT_EQ(problemOf(R"({"do":"cover","state":1})"), "\"state\" is not a text");
    for (const char *state : {"", "off", "Covered", "covered "}) {
        EXPECT_EQ(problemOf(std::string(R"({"do":"cover","state":")") + state + "\"}"),
                  "\"state\" is not one of none, covered, fullscreen and unknown");
    }
}

TEST(ControlRequest, RefusesPlacesThatAreNone) {
    EXPECT_EQ(problemOf(R"({"do":"tap","x":10})"), "\"y\" is missing");
    EXPECT_THAT(problemOf(R"({"do":"tap","x":"10","y":1})"), HasSubstr("\"x\" is not a number"));
    EXPECT_THAT(problemOf(R"({"do":"tap","x":1e9,"y":1})"), HasSubstr("\"x\" is not a number"));
    EXPECT_NE(problemOf(R"({"do":"tap","x":1e999,"y":1})"), "");
    EXPECT_NE(problemOf(R"({"do":"tap","x":NaN,"y":1})"), "");
}

TEST(ControlRequest, TakesAnOffset) {
    EXPECT_EQ(parse(R"({"do":"offset","x":-33})").choice.offset, -33);
}

TEST(ControlRequest, TakesABundleByItsNameOrAbsolutePath) {
    EXPECT_EQ(parse(R"({"do":"wallpaper","bundle":"Maple"})").choice.bundle, "Maple");
    EXPECT_EQ(parse(R"({"do":"wallpaper","bundle":"/a/b"})").choice.bundle, "/a/b");
    EXPECT_EQ(problemOf(R"({"do":"wallpaper","bundle":"a/b"})"),
              "\"wallpaper\" is neither an absolute path nor a name");
    EXPECT_EQ(problemOf(R"({"do":"set","key":"wallpaper","value":"./b"})"),
              "\"wallpaper\" is neither an absolute path nor a name");
    EXPECT_NE(problemOf(R"({"do":"wallpaper","bundle":""})"), "");
    EXPECT_NE(problemOf(R"({"do":"wallpaper","bundle":"/a\u0000b"})"), "");
}

TEST(ControlRequest, TakesAnAbsolutePathForAScreenshot) {
    EXPECT_EQ(parse(R"({"do":"screenshot","file":"/x.png"})").file, "/x.png");
    EXPECT_EQ(problemOf(R"({"do":"screenshot","file":"x.png"})"),
              "\"file\" is not an absolute path");
    EXPECT_EQ(problemOf(R"({"do":"screenshot"})"), "\"file\" is missing");
}

TEST(ControlRequest, KeepsTheIdentifierEvenOfARequestThatMakesNoSense) {
    EXPECT_EQ(parse(R"({"do":"status","id":7})").identifier, "7");
    EXPECT_EQ(parse(R"({"do":"status","id":"a\"b"})").identifier, R"("a\"b")");
    EXPECT_EQ(parse(R"({"do":"dance","id":7})").identifier, "7");
    EXPECT_EQ(parse(R"({"do":"status"})").identifier, "");
}

TEST(ControlRequest, RepeatsNoIdentifierThatIsTooLong) {
    EXPECT_EQ(parse(R"({"do":"status","id":")" + std::string(300, 'x') + "\"}").identifier, "");
}

TEST(ControlRequest, SaysWhatThereIsToDo) {
    EXPECT_EQ(problemOf(R"({"do":"dance"})"),
              "\"dance\" is nothing to do; use one of status, pause, resume, set, tap, cover, "
              "offset, wallpaper, screenshot, log, keep, quit");
    EXPECT_THAT(problemOf("{}"), HasSubstr("\"do\" is missing"));
    EXPECT_EQ(problemOf(R"({"do":1})"), "\"do\" is not a text");
}

TEST(ControlRequest, RefusesFieldsThatTheActionDoesNotHave) {
    EXPECT_EQ(problemOf(R"({"do":"pause","x":1})"), "\"x\" is no field of \"pause\"");
    EXPECT_EQ(problemOf(R"({"do":"pause","do":"quit"})"), "\"do\" is given twice");
}

TEST(ControlRequest, RefusesWhatIsNoObject) {
    for (const char *text : {"", "1", "\"x\"", "null", "[]", "[{}]", "{", "{\"do\"", "hello",
                             "{\"do\":\"status\"} {}", "\xff\xfe", "{\"do\":\"\xff\"}"}) {
        EXPECT_NE(problemOf(text), "") << text;
    }
    EXPECT_NE(problemOf(std::string("\0\1\2", 3)), "");
}

TEST(ControlRequest, RefusesAnythingNestedHoweverDeep) {
    EXPECT_EQ(problemOf(R"({"do":"pause","output":{}})"),
              "\"output\" is neither a text nor a number");
    EXPECT_EQ(problemOf(R"({"output":)" + std::string(60'000, '[')),
              "\"output\" is neither a text nor a number");
    EXPECT_NE(problemOf(std::string(65'536, '[')), "");
    EXPECT_NE(problemOf(std::string(65'536, '{')), "");
}

TEST(ControlRequest, RefusesWhatIsTooLong) {
    const std::string request = R"({"do":"status"})";
    const std::string spaces(ControlRequest::kMaxBytes - request.size(), ' ');
    EXPECT_EQ(problemOf(request + spaces), "");
    EXPECT_EQ(problemOf(request + spaces + " "), "a request is at most 65536 bytes long");
}

TEST(ControlRequest, ComplainsInOneLine) {
    EXPECT_EQ(problemOf("{\"do\":\"a\\nb\"}").find('\n'), std::string::npos);
}

TEST(ControlRequest, ForgetsAKeyWhoseValueIsTheDefault) {
    const auto request =
        ControlRequest::parse(R"({"do": "set", "key": "petals", "value": "default"})");
    EXPECT_EQ(request.problem, "");
    EXPECT_EQ(request.action, ControlRequest::Action::Forget);
    EXPECT_EQ(request.key, "petals");
}

} // namespace
