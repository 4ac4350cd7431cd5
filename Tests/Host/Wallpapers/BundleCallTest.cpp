#include "Host/Wallpapers/BundleCall.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

using namespace Lumivera;
using Kind = BundleCall::Kind;

namespace {

TEST(BundleCallTest, NamesTheInnermostCallUntilItEnds) {
    const BundleCall outer(Kind::DoAnimating);
    {
        const BundleCall inner(Kind::SetFrame);
        EXPECT_EQ(BundleCall::current(), Kind::SetFrame);
    }
    EXPECT_EQ(BundleCall::current(), Kind::DoAnimating);
}

TEST(BundleCallTest, KeepsTheCallThatThrew) {
    try {
        const BundleCall call(Kind::Tap);
        throw std::runtime_error("its text");
    } catch (const std::exception &error) {
        EXPECT_EQ(wordsFor(error), "threw std::runtime_error in tapActionAtViewPoint: its text");
    }
    BundleCall::set(Kind::None);
}

TEST(BundleCallTest, IsKeptInOtherMemory) {
    // The process's calls may be kept there from now on.
    static std::atomic<std::uint32_t> place{99};
    BundleCall::keepAt(place);
    EXPECT_EQ(place, 0U);
    const BundleCall call(Kind::Ending);
    EXPECT_EQ(place, static_cast<std::uint32_t>(Kind::Ending));
}

TEST(BundleCallTest, HasWordsForEveryKindAndNoOther) {
    EXPECT_EQ(BundleCall::words(0), "");
    EXPECT_EQ(BundleCall::words(static_cast<std::uint32_t>(Kind::InitResource)),
              " in initResource");
    EXPECT_NE(BundleCall::words(static_cast<std::uint32_t>(Kind::Ending)), "");
    EXPECT_EQ(BundleCall::words(static_cast<std::uint32_t>(Kind::Ending) + 1), "");
    EXPECT_EQ(BundleCall::words(~0U), "");
}

TEST(BundleCallTest, TellsOfAnyException) {
    const auto wordsAfter = [](auto thrower) {
        try {
            thrower();
        } catch (...) {
            return wordsForCurrentException();
        }
        return std::string();
    };
    EXPECT_EQ(wordsAfter([] { throw 42; }), "threw int");
    EXPECT_EQ(wordsAfter([] { throw "a text"; }), "threw char const*: a text");
    EXPECT_EQ(wordsAfter([] { throw std::bad_alloc(); }),
              "takes more memory than a wallpaper may have");
    EXPECT_EQ(wordsForCurrentException(), "");
}

} // namespace
