#include "Platform/Foundation/PropertyList.h"

#include "Tests/Platform/Foundation/PropertyListSamples.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using PropertyListSamples::document;
using PropertyListSamples::read;
using namespace std::string_literals;

/// The value of a list that consists of one element.
std::optional<PropertyList> valueOf(std::string_view element) { return read(document(element)); }

/// The text that an element is read as, or a marker when it is not a text.
std::string textOf(std::string_view element) {
    const auto list = valueOf(element);
    return list && list->text() ? *list->text() : "no text";
}

std::optional<double> secondsOf(std::string_view date) {
    const auto list = valueOf("<date>" + std::string(date) + "</date>");
    return list && list->date() ? std::optional(list->date()->seconds) : std::nullopt;
}

TEST(XMLPropertyList, HoldsValuesOfEveryType) {
    EXPECT_EQ(read(PropertyListSamples::xml()), PropertyListSamples::value());
}

TEST(XMLPropertyList, NeedsNoDeclarationAndMayHaveAByteOrderMark) {
    EXPECT_EQ(read("<plist><true/></plist>"), PropertyList(true));
    EXPECT_EQ(read("\xef\xbb\xbf<plist><true/></plist>"), PropertyList(true));
}

TEST(XMLPropertyList, MayHaveCommentsAndBlanksBetweenElements) {
    EXPECT_EQ(read("\n<!-- a --><plist> <!-- b -->\r\n\t<dict><!-- c --><key>k</key>\n<!-- <x> -->"
                   "<true/></dict> </plist><!-- d -->\n<?pi?>"),
              PropertyList(PropertyList::Dictionary{{"k", PropertyList(true)}}));
}

TEST(XMLPropertyList, HasEmptyContainersAndTexts) {
    EXPECT_EQ(valueOf("<dict/>"), PropertyList(PropertyList::Dictionary{}));
    EXPECT_EQ(valueOf("<dict> </dict>"), PropertyList(PropertyList::Dictionary{}));
    EXPECT_EQ(valueOf("<array/>"), PropertyList(PropertyList::Array{}));
    EXPECT_EQ(valueOf("<string/>"), PropertyList(""));
    EXPECT_EQ(valueOf("<string></string>"), PropertyList(""));
    EXPECT_EQ(valueOf("<data/>"), PropertyList(PropertyList::Data{}));
    EXPECT_EQ(valueOf("<dict><key/><true/></dict>"),
              PropertyList(PropertyList::Dictionary{{"", PropertyList(true)}}));
}

TEST(XMLPropertyList, ReadsIntegers) {
    const std::pair<const char *, std::int64_t> table[] = {
        {"0", 0},
        {"-0", 0},
        {"40", 40},
        {"+40", 40},
        {"-5", -5},
        {" \n 7\t", 7},
        {"007", 7},
        {"0x1F", 31},
        {"0Xff", 255},
        {"-0x10", -16},
        {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
        {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
        {"0x7fffffffffffffff", std::numeric_limits<std::int64_t>::max()},
    };
    for (const auto &[text, value] : table) {
        EXPECT_EQ(valueOf("<integer>"s + text + "</integer>"), PropertyList(value)) << text;
    }
}

TEST(XMLPropertyList, TakesIntegersBeyond64BitsForReals) {
    EXPECT_EQ(valueOf("<integer>9223372036854775808</integer>"), PropertyList(0x1p63));
    EXPECT_EQ(valueOf("<integer>18446744073709551616</integer>"), PropertyList(0x1p64));
    EXPECT_EQ(valueOf("<integer>-18446744073709551616</integer>"), PropertyList(-0x1p64));
    EXPECT_EQ(valueOf("<integer>0x100000000000000000</integer>"), PropertyList(0x1p68));
    EXPECT_EQ(valueOf("<integer>99999999999999999999</integer>")->integerValue(), 2147483647);
}

TEST(XMLPropertyList, RefusesWhatIsNoInteger) {
    for (const char *text : {"", " ", "-", "+", "--1", "-+1", "1.5", "1e3", "12x", "1 2", "0x",
                             "0x-1", "0xg", "x10", "one", "1<!-- -->a", "\xd9\xa3"}) {
        EXPECT_FALSE(valueOf("<integer>"s + text + "</integer>")) << text;
    }
    EXPECT_FALSE(valueOf("<integer>" + std::string(400, '9') + "</integer>"));
    EXPECT_FALSE(valueOf("<integer>99999999999999999999e1</integer>"));
    EXPECT_FALSE(valueOf("<integer>0x99999999999999999999p1</integer>"));
}

TEST(XMLPropertyList, ReadsReals) {
    const std::pair<const char *, double> table[] = {
        {"0.5", 0.5},         {"-0.25", -0.25},
        {"+1.5", 1.5},        {"3", 3.0},
        {"1e3", 1000.0},      {".5", 0.5},
        {" 2.0\n", 2.0},      {"0.1", 0.1},
        {"-1.5E-3", -1.5e-3}, {"inf", HUGE_VAL},
        {"5.", 5.0},          {"1e308", 1e308},
        {"-inf", -HUGE_VAL},  {"+infinity", HUGE_VAL},
    };
    for (const auto &[text, value] : table) {
        EXPECT_EQ(valueOf("<real>"s + text + "</real>"), PropertyList(value)) << text;
    }
    EXPECT_TRUE(std::isnan(*valueOf("<real>nan</real>")->real()));
}

TEST(XMLPropertyList, RefusesWhatIsNoReal) {
    for (const char *text : {"", "-", "--1", "1,5", "1.5x", "0x1p3", "1e", "1e999", "one", "1 2"}) {
        EXPECT_FALSE(valueOf("<real>"s + text + "</real>")) << text;
    }
}

TEST(XMLPropertyList, ReadsBooleansThatHoldNothing) {
    EXPECT_EQ(valueOf("<true/>"), PropertyList(true));
    EXPECT_EQ(valueOf("<false> </false>"), PropertyList(false));
    EXPECT_FALSE(valueOf("<true>1</true>"));
    EXPECT_FALSE(valueOf("<true><false/></true>"));
}

TEST(XMLPropertyList, KeepsTextAsItIs) {
    EXPECT_EQ(textOf("<string> a  b\n</string>"), " a  b\n");
    EXPECT_EQ(textOf("<string>  </string>"), "  ");
    EXPECT_EQ(textOf("<string>a\r\nb\rc</string>"), "a\nb\nc");
    EXPECT_EQ(textOf("<string>\xf0\x9f\x8c\xb8</string>"), "\xf0\x9f\x8c\xb8");
    EXPECT_EQ(textOf("<string>a<!-- not this -->b</string>"), "ab");
}

TEST(XMLPropertyList, KnowsTheEntitiesAndReferencesOfXML) {
    EXPECT_EQ(textOf("<string>&lt;&amp;&gt;&quot;&apos;</string>"), "<&>\"'");
    EXPECT_EQ(textOf("<string>&#65;&#x685C;&#x1F338;</string>"), "A\xe6\xa1\x9c\xf0\x9f\x8c\xb8");
    EXPECT_EQ(textOf("<string>&amp;lt;</string>"), "&lt;");
}

TEST(XMLPropertyList, TakesCDATAAsText) {
    EXPECT_EQ(textOf("<string> <![CDATA[<a> & ]] ]]>b</string>"), " <a> & ]] b");
}

TEST(XMLPropertyList, DoesNotExpandEntitiesOfItsOwn) {
    std::string entities = "<!ENTITY e0 \"petal\">";
    for (int i = 1; i <= 30; ++i) {
        const std::string inner = "&e" + std::to_string(i - 1) + ";";
        entities += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; ++k) {
            entities += inner;
        }
        entities += "\">";
    }
    const auto list =
        read("<!DOCTYPE plist [" + entities + "]><plist><string>&e30;</string></plist>");
    EXPECT_EQ(list, PropertyList("&e30;"));
}

TEST(XMLPropertyList, ReadsNoFileThatAnEntityNames) {
    EXPECT_EQ(read("<!DOCTYPE plist [<!ENTITY e SYSTEM \"file:///proc/self/status\">]>"
                   "<plist><string>&e;</string></plist>"),
              PropertyList("&e;"));
}

TEST(XMLPropertyList, RefusesTextThatIsNotUTF8) {
    EXPECT_FALSE(valueOf("<string>a\xff</string>"));
    EXPECT_FALSE(valueOf("<string>\xed\xa0\x80</string>"));
    EXPECT_FALSE(valueOf("<string>&#xD800;</string>"));
    EXPECT_FALSE(valueOf("<dict><key>\xff</key><true/></dict>"));
}

TEST(XMLPropertyList, RefusesUTF16AndZeroBytes) {
    EXPECT_FALSE(read("<plist><true/></plist>\0"s));
    EXPECT_FALSE(read("<plist><string>a\0b</string></plist>"s));
    std::string wide = "\xff\xfe";
    for (const char c : "<plist><true/></plist>"s) {
        wide += c;
        wide += '\0';
    }
    EXPECT_FALSE(read(wide));
}

TEST(XMLPropertyList, CountsTheSecondsOfDatesFromTheStartOf2001) {
    EXPECT_EQ(secondsOf("2001-01-01T00:00:00Z"), 0.0);
    EXPECT_EQ(secondsOf("2001-01-01T01:02:03Z"), 3723.0);
    EXPECT_EQ(secondsOf("2000-12-31T23:59:59Z"), -1.0);
    EXPECT_EQ(secondsOf("1970-01-01T00:00:00Z"), -978307200.0);
    EXPECT_EQ(secondsOf("2024-02-29T12:00:00Z"), 730900800.0);
    EXPECT_EQ(secondsOf(" 2001-01-02T00:00:00Z\n"), 86400.0);
}

TEST(XMLPropertyList, RefusesDatesThatDoNotExistOrAreWrittenOtherwise) {
    for (const char *date : {"",
                             "2001",
                             "2001-01-01",
                             "2001-01-01T00:00:00",
                             "2001-01-01 00:00:00Z",
                             "2001-01-01T00:00:00z",
                             "2001-01-01T00:00:00+01:00",
                             "2001-01-01T00:00:00.5Z",
                             "2001-13-01T00:00:00Z",
                             "2001-00-01T00:00:00Z",
                             "2001-02-29T00:00:00Z",
                             "1900-02-29T00:00:00Z",
                             "2001-04-31T00:00:00Z",
                             "2001-01-00T00:00:00Z",
                             "2001-01-01T24:00:00Z",
                             "2001-01-01T00:60:00Z",
                             "2001-01-01T00:00:60Z",
                             "2001-1-1T00:00:00ZZZ",
                             "-001-01-01T00:00:00Z",
                             "2001-01-01T00:00:0xZ"}) {
        EXPECT_FALSE(secondsOf(date)) << date;
    }
}

TEST(XMLPropertyList, ReadsDataWithAndWithoutPaddingAndBrokenIntoLines) {
    using Bytes = std::vector<std::uint8_t>;
    const std::pair<const char *, Bytes> table[] = {
        {"", {}},
        {" \n", {}},
        {"AA==", {0x00}},
        {"AP8=", {0x00, 0xff}},
        {"AP8Q", {0x00, 0xff, 0x10}},
        {"\n\tAP\n\t8Q\r\nAP 8 =\n", {0x00, 0xff, 0x10, 0x00, 0xff}},
        {"+/+/", {0xfb, 0xff, 0xbf}},
    };
    for (const auto &[text, bytes] : table) {
        EXPECT_EQ(valueOf("<data>"s + text + "</data>"), PropertyList(PropertyList::Data{bytes}))
            << text;
    }
}

TEST(XMLPropertyList, RefusesWhatIsNoBase64) {
    for (const char *text : {"A", "AA", "AAA", "AA=", "A===", "AAAA=", "AA==AA==", "AP8Q=", "=",
                             "====", "AA=A", "A-_A", "AP8\xc3\xa9", "AP8Q!"}) {
        EXPECT_FALSE(valueOf("<data>"s + text + "</data>")) << text;
    }
}

TEST(XMLPropertyList, LetsTheLastOfEqualKeysCount) {
    EXPECT_EQ(valueOf("<dict><key>k</key><true/><key>k</key><integer>2</integer></dict>"),
              PropertyList(PropertyList::Dictionary{{"k", PropertyList(2)}}));
}

TEST(XMLPropertyList, RefusesDictionariesWhoseKeysAndValuesDoNotAlternate) {
    for (const char *element :
         {"<dict><true/></dict>", "<dict><key>k</key></dict>",
          "<dict><key>k</key><key>l</key></dict>", "<dict><true/><key>k</key></dict>",
          "<dict><key>k</key><true/><true/></dict>", "<dict>text</dict>",
          "<dict><key>k</key>text<true/></dict>", "<dict><key><true/></key><true/></dict>",
          "<dict><Key>k</Key><true/></dict>"}) {
        EXPECT_FALSE(valueOf(element)) << element;
    }
}

TEST(XMLPropertyList, RefusesElementsThatDoNotBelongThere) {
    for (const char *element :
         {"<set/>", "<key>k</key>", "<plist><true/></plist>", "<array><key>k</key></array>",
          "<array>text</array>", "<array><true/>text</array>", "<array>&amp;</array>",
          "<string><true/></string>", "<string>a<b/>c</string>", "<integer><true/>1</integer>",
          "<data><true/></data>", "<STRING>a</STRING>", "<x:string>a</x:string>"}) {
        EXPECT_FALSE(valueOf(element)) << element;
    }
}

TEST(XMLPropertyList, HasOneRootWithOneValue) {
    for (const char *text :
         {"<plist/>", "<plist> </plist>", "<plist>text</plist>", "<plist><true/><true/></plist>",
          "<plist><true/>text</plist>", "<plist><true/></plist><plist><true/></plist>",
          "<plist><true/></plist>text", "text<plist><true/></plist>", "<true/>", "<dict/>",
          "<list><true/></list>", "<plist><true/></plist><true/>"}) {
        EXPECT_FALSE(read(text)) << text;
    }
}

TEST(XMLPropertyList, RefusesWhatIsNotWellFormed) {
    for (const char *text : {"<plist>",
                             "<plist><true></plist>",
                             "<plist><true/></plis>",
                             "<plist><true/></plist",
                             "<plist><array><true/></plist></array>",
                             "</plist>",
                             "<plist><string>a</plist></string>",
                             "<plist><string>a < b</string></plist>",
                             "<plist a=b><true/></plist>",
                             "<plist a><true/></plist>",
                             "<plist><true/></plist><!--",
                             "<plist><![CDATA[</plist>",
                             "<!DOCTYPE plist [<plist><true/></plist>",
                             "<",
                             "<!",
                             "<?",
                             "<?xml",
                             "&",
                             "<plist><",
                             "<plist><true/></plist><"}) {
        EXPECT_FALSE(read(text)) << text;
    }
}

} // namespace
