#include "Host/Desktop/Control/WallpaperLog.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace Lumivera;

namespace {

using Source = WallpaperLine::Source;

TEST(WallpaperLog, NumbersLinesAndKeepsTheirTime) {
    WallpaperLog log;
    EXPECT_EQ(log.latest(), 0U);
    log.add({Source::Print, "DP-1", "/Rain.bundle", "one"});
    log.add({Source::Host, "DP-2", "/Snow.bundle", "two"});
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0].number, 1U);
    EXPECT_EQ(log.lines()[1].number, 2U);
    EXPECT_EQ(log.latest(), 2U);
    EXPECT_EQ(log.lines()[1].output, "DP-2");
    EXPECT_EQ(log.lines()[1].bundle, "/Snow.bundle");
    EXPECT_NEAR(log.lines()[0].time, static_cast<double>(std::time(nullptr)), 60);
}

TEST(WallpaperLog, KeepsTheLinesOfTheHostHoweverMuchWallpapersSay) {
    WallpaperLog log;
    log.add({Source::Host, "", "", "of the host"});
    for (std::size_t i = 0; i < 3 * WallpaperLog::kMaxLines; ++i) {
        log.add({i % 2 ? Source::Log : Source::Print, "", "", std::to_string(i)});
    }
    EXPECT_EQ(log.lines().size(), WallpaperLog::kMaxLines + 1);
    EXPECT_EQ(log.lines().front().text, "of the host");
    EXPECT_EQ(log.lines()[1].text, std::to_string(2 * WallpaperLog::kMaxLines));
    EXPECT_EQ(log.lines().back().number, log.latest());
}

TEST(WallpaperLog, IsBoundedInBytes) {
    WallpaperLog log;
    for (int i = 0; i < 500; ++i) {
        log.add({Source::Print, "", "", std::string(10'000, 'x')});
    }
    EXPECT_EQ(log.lines().back().text.size(), WallpaperLog::kMaxText);
    EXPECT_EQ(log.lines().size(), WallpaperLog::kMaxBytes / WallpaperLog::kMaxText);
}

TEST(WallpaperLog, HasNoControlCharacters) {
    WallpaperLog log;
    log.add({Source::Print, "", "", "a\x1b[2Jb\nc"});
    EXPECT_EQ(log.lines().front().text, "a\\x1b[2Jb\\nc");
}

} // namespace
