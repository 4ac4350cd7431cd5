#include "Host/Desktop/Configuration/Configuration.h"
#include "Host/Support/HostError.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

std::string changed(const std::string &text, const std::string &wallpaper = "/new") {
    return Configuration::withWallpaper(text, wallpaper, "c.toml");
}

TEST(ConfigurationText, PutsTheWallpaperAtTheTopWhereThereIsNone) {
    EXPECT_EQ(changed(""), "wallpaper = \"/new\"\n");
    EXPECT_EQ(changed("# mine\n[output.X]\npetals = 1\n"),
              "wallpaper = \"/new\"\n# mine\n[output.X]\npetals = 1\n");
}

TEST(ConfigurationText, ChangesTheValueAlone) {
    EXPECT_EQ(changed("# a\npetals=3 # b\n  wallpaper   =  'old'   # c\nspeed = 1"),
              "# a\npetals=3 # b\n  wallpaper   =  \"/new\"   # c\nspeed = 1");
}

TEST(ConfigurationText, FindsTheValueHoweverItIsWritten) {
    EXPECT_EQ(changed("\"wallpaper\" = \"\"\"\nol\nd\"\"\" # x\n"),
              "\"wallpaper\" = \"/new\" # x\n");
    EXPECT_EQ(changed("'wallpaper'='old'"), "'wallpaper'=\"/new\"");
    EXPECT_EQ(changed("wallpaper = '''x'''\npetals = 1"), "wallpaper = \"/new\"\npetals = 1");
    EXPECT_EQ(changed("wallpaper = \"a\\\"b#\" # q"), "wallpaper = \"/new\" # q");
}

TEST(ConfigurationText, IsNotLedAstrayByTextsThatLookLikeTheLine) {
    EXPECT_EQ(changed("# wallpaper = 'a'\ntint = '''\nred'''\nwallpaper = 'b'\n"),
              "# wallpaper = 'a'\ntint = '''\nred'''\nwallpaper = \"/new\"\n");
    EXPECT_EQ(changed("[output.X]\nwallpaper = 'a'\n"),
              "wallpaper = \"/new\"\n[output.X]\nwallpaper = 'a'\n");
}

TEST(ConfigurationText, CountsCharactersAndNotBytes) {
    EXPECT_EQ(changed("# \xc3\xbc\nwallpaper = '\xc3\xbc\xe6\x97\xa5' # \xc3\xbc\n"),
              "# \xc3\xbc\nwallpaper = \"/new\" # \xc3\xbc\n");
}

TEST(ConfigurationText, KeepsLineEndsAndTheByteOrderMark) {
    EXPECT_EQ(changed("petals = 1\r\n"), "wallpaper = \"/new\"\r\npetals = 1\r\n");
    EXPECT_EQ(changed("petals = 1\r\nwallpaper = 'a'\r\n"),
              "petals = 1\r\nwallpaper = \"/new\"\r\n");
    EXPECT_EQ(changed("\xef\xbb\xbfpetals = 1\n"),
              "\xef\xbb\xbfwallpaper = \"/new\"\npetals = 1\n");
    EXPECT_EQ(changed("\xef\xbb\xbfwallpaper = 'a'\n"), "\xef\xbb\xbfwallpaper = \"/new\"\n");
}

TEST(ConfigurationText, WritesAnyPathSoThatItReadsBack) {
    EXPECT_EQ(changed("", "/a \"b\"\\\n\x7f\xc3\xbc"),
              "wallpaper = \"/a \\\"b\\\"\\\\\\u000a\\u007f\xc3\xbc\"\n");
}

TEST(ConfigurationText, RefusesWhatItCannotWrite) {
    EXPECT_THROW(changed("", "/a\xff"), HostError);
    EXPECT_THROW(changed("", ""), HostError);
}

TEST(ConfigurationText, LeavesBrokenTextsAlone) {
    EXPECT_THROW(changed("petals = "), HostError);
    EXPECT_THROW(changed("petals = 'x'\n"), HostError);
}

} // namespace
