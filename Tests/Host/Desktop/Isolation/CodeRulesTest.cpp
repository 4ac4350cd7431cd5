#include "Host/Desktop/Isolation/CodeRules.h"

#include "Tests/Host/Desktop/Isolation/BrokenLibraries.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using namespace Lumivera;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

/// What one rule, or all, say about a bundle: "degree: line".
std::vector<std::string> remarksOn(const std::string &bundle, std::string_view name = {},
                                   double timeFactor = 1) {
    Remarks remarks;
    for (const CodeRule &rule : codeRules()) {
        if (name.empty() || rule.name == name) {
            rule.check({bundle, "hostile.so", true, 7, timeFactor}, Reporter(rule.name, remarks));
        }
    }
    std::vector<std::string> lines;
    for (const Remark &remark : remarks) {
        lines.push_back(std::string(nameOf(remark.degree)) + ": " + remark.line());
    }
    return lines;
}

TEST(CodeRules, FindNothingInCodeThatIsInOrder) {
    const TemporaryFolder folder;
    EXPECT_THAT(remarksOn(hostileBundle(folder.path(), "nothing")), IsEmpty());
    EXPECT_THAT(remarksOn(shippedBundle("Lumivera.bundle")), IsEmpty());
}

struct Case {
    const char *rule;

    /// What the bundle's library does, or another one of the tests' libraries.
    const char *deed;

    /// The beginning of a remark, and more of it. Sanitizers make an exit of a crash.
    const char *remark;
    const char *more = "";
};

void PrintTo(const Case &given, std::ostream *stream) { *stream << given.deed; }

constexpr Case kCases[] = {
    {"load", "StartingWallpaper",
     "wrong: hostile.so: threw std::runtime_error in the code that runs when it is loaded"},
    {"load-now", "UnboundWallpaper", "wrong: hostile.so: cannot be loaded: "},
    {"entry-point", "NoEntryPoint",
     "doubtful: hostile.so: has no function getDeskTopViewInstance; define it"},
    {"first-frame", "throw-in-init",
     "wrong: hostile.so: threw std::runtime_error in initResource: a wallpaper's own mistake"},
    {"first-frame", "dawdle-in-init", "doubtful: initResource: takes "},
    {"first-frame", "number-in-return",
     "wrong: hostile.so: ", ", in the use of what getDeskTopViewInstance gave"},
    {"name-and-version", "UnboundWallpaper",
     "doubtful: hostile.so: has no function getDeskTopViewName"},
    {"no-bundle", "TinyWallpaper", "doubtful: hostile.so: ", ", in getDeskTopViewInstance"},
    {"foreign-bundle", "HomesickWallpaper",
     "wrong: hostile.so: threw std::bad_optional_access in getDeskTopViewInstance"},
    {"frames", "dawdle-in-frame", "wrong: doAnimating: takes 1"},
    {"frames", "UnboundWallpaper",
     "wrong: hostile.so: has exited with status 127, in doAnimating: "},
    {"pause", "throw-in-pause", "wrong: hostile.so: threw std::runtime_error in pauseAnimating"},
    {"pause", "ignore-in-pause", "doubtful: pauseAnimating: its picture changes while"},
    {"pause", "ignore-in-resume", "wrong: resumeAnimating: its picture stands still after"},
    {"resizes", "throw-in-resize", "wrong: hostile.so: threw std::runtime_error in setFrame"},
    {"taps", "throw-in-tap", "wrong: hostile.so: threw std::runtime_error in tapAction"},
    {"taps", "throw-in-gesture", "wrong: hostile.so: threw std::runtime_error in gesture"},
    {"limits", "throw-in-scale", "wrong: hostile.so: threw std::runtime_error in setScale"},
    {"limits", "throw-in-speed", "wrong: hostile.so: threw std::runtime_error in setSpeedLevel"},
    {"random-events", "exit-in-gesture",
     "wrong: hostile.so: has exited with status 7, in gestureAction_atPoint"},
    {"memory", "leak-in-frames", "wrong: doAnimating: the memory in use grows by "},
    {"ending", "throw-in-end", "wrong: hostile.so: threw std::runtime_error in removeFromSuper"},
    {"ending", "keep-in-return",
     "wrong: hostile.so: a view that was removed and released lives on"},
    {"same-pixels", "vary-in-frames", "doubtful: hostile.so: frame "},
    {"system-calls", "reach-out-in-frame",
     "doubtful: hostile.so: makes system calls that are refused: "},
    {"printing", "print-in-frame", "doubtful: hostile.so: prints more than 4 KiB"},
};

class CodeRuleTest : public ::testing::TestWithParam<Case> {};

TEST_P(CodeRuleTest, FindsTheMistake) {
    const Case &given = GetParam();
    if (!kIsMemoryLimited && given.rule == std::string_view("memory")) {
        GTEST_SKIP() << "a sanitizer's memory is not measured";
    }
    const TemporaryFolder folder;
    EXPECT_THAT(remarksOn(hostileBundle(folder.path(), given.deed), given.rule),
                Contains(AllOf(StartsWith(given.remark), HasSubstr(given.more))));
}

INSTANTIATE_TEST_SUITE_P(Cases, CodeRuleTest, ::testing::ValuesIn(kCases), [](const auto &info) {
    std::string name = std::string(info.param.rule) + "_" + info.param.deed;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

TEST(CodeRules, EachFindsAMistakeHere) {
    for (const CodeRule &rule : codeRules()) {
        EXPECT_TRUE(std::any_of(std::begin(kCases), std::end(kCases), [&rule](const Case &given) {
            return given.rule == rule.name;
        })) << rule.name;
    }
}

class SlowCode : public ::testing::TestWithParam<BrokenLibrary> {};

TEST_P(SlowCode, IsEndedInTime) {
    const TemporaryFolder folder;
    const auto remarks =
        remarksOn(hostileBundle(folder.path(), GetParam().deed), "frames", /*timeFactor=*/10);
    ASSERT_THAT(remarks, testing::SizeIs(1));
    EXPECT_THAT(remarks[0], StartsWith("wrong: hostile.so: has drawn nothing for "));
    EXPECT_TRUE(GetParam().isToldIn(remarks[0])) << remarks[0];
}

INSTANTIATE_TEST_SUITE_P(Libraries, SlowCode, ::testing::ValuesIn(brokenLibraries(true)),
                         [](const auto &info) { return nameOfBrokenLibrary(info); });

TEST(CodeRules, RepeatEventsOfTheSameSeed) {
    const TemporaryFolder folder;
    const std::string bundle = hostileBundle(folder.path(), "throw-in-tap");
    EXPECT_EQ(remarksOn(bundle, "random-events"), remarksOn(bundle, "random-events"));
}

} // namespace
