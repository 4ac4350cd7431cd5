#include "Platform/Foundation/PropertyList.h"

#include "Tests/Platform/Foundation/PropertyListSamples.h"

#include <gtest/gtest.h>

namespace {

using Builder = BinaryPropertyListBuilder;
using Bytes = Builder::Bytes;
using Limits = PropertyListLimits;
using PropertyListSamples::read;

std::string repeated(std::string_view text, std::size_t count) {
    std::string result;
    result.reserve(text.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

std::string xmlOf(const std::string &value) { return "<plist>" + value + "</plist>"; }

std::string xmlArrays(std::size_t levels) {
    return xmlOf(repeated("<array>", levels) + repeated("</array>", levels));
}

/// Nested arrays; the innermost one is empty.
Bytes binaryArrays(std::size_t levels) {
    Builder list(3, 4);
    for (std::size_t i = 1; i < levels; ++i) {
        list.addArray({i});
    }
    list.addArray({});
    return list.finish();
}

/// An array of many references to one object.
Bytes binaryRepetition(const Bytes &object, std::size_t count) {
    Builder list(1, 4);
    list.addArray(Builder::References(count, 1));
    list.add(object);
    return list.finish();
}

/// A text or data object of that size.
Bytes large(std::uint8_t marker, std::size_t length, std::size_t unitSize) {
    Bytes object{marker, 0x12};
    Builder::append(object, length, 4);
    object.resize(object.size() + length * unitSize, 'x');
    return object;
}

TEST(PropertyListLimits, AllowAMillionNodesInXMLAndNoMore) {
    EXPECT_TRUE(read(xmlOf("<array>" + repeated("<true/>", Limits::kMaxNodes - 1) + "</array>")));
    EXPECT_FALSE(read(xmlOf("<array>" + repeated("<true/>", Limits::kMaxNodes) + "</array>")));
}

TEST(PropertyListLimits, AllowAMillionNodesInABinaryListAndNoMore) {
    const auto list = readPropertyList(binaryRepetition({0x09}, Limits::kMaxNodes - 1));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->array()->size(), Limits::kMaxNodes - 1);
    EXPECT_FALSE(readPropertyList(binaryRepetition({0x09}, Limits::kMaxNodes)));
}

TEST(PropertyListLimits, CountKeysAsNodes) {
    const std::size_t pairs = (Limits::kMaxNodes - 1) / 2;
    EXPECT_TRUE(read(xmlOf("<dict>" + repeated("<key>k</key><true/>", pairs) + "</dict>")));
    EXPECT_FALSE(read(xmlOf("<dict>" + repeated("<key>k</key><true/>", pairs + 1) + "</dict>")));
    for (const std::size_t count : {pairs, pairs + 1}) {
        Builder list(1, 4);
        list.addDictionary(Builder::References(count, 1), Builder::References(count, 1));
        list.addText("k");
        EXPECT_EQ(readPropertyList(list.finish()).has_value(), count == pairs);
    }
}

TEST(PropertyListLimits, Allow256LevelsAndNoMore) {
    EXPECT_TRUE(read(xmlArrays(Limits::kMaxDepth)));
    EXPECT_FALSE(read(xmlArrays(Limits::kMaxDepth + 1)));
    EXPECT_TRUE(readPropertyList(binaryArrays(Limits::kMaxDepth)));
    EXPECT_FALSE(readPropertyList(binaryArrays(Limits::kMaxDepth + 1)));
}

TEST(PropertyListLimits, CountTheLevelsOfDictionariesToo) {
    const auto dictionaries = [](std::size_t levels) {
        return xmlOf(repeated("<dict><key>k</key>", levels) + "<true/>" +
                     repeated("</dict>", levels));
    };
    EXPECT_TRUE(read(dictionaries(Limits::kMaxDepth - 1)));
    EXPECT_FALSE(read(dictionaries(Limits::kMaxDepth)));
}

TEST(PropertyListLimits, HoldAgainstAMillionLevelsOfXML) {
    EXPECT_FALSE(read(xmlArrays(1'000'000)));
    EXPECT_FALSE(read("<plist>" + repeated("<array>", 1'000'000)));
    EXPECT_FALSE(read(xmlOf(repeated("<dict><key>k</key>", 1'000'000))));
    EXPECT_FALSE(read(repeated("<plist>", 1'000'000)));
    EXPECT_FALSE(read("<!DOCTYPE " + repeated("<!a ", 1'000'000)));
    EXPECT_FALSE(read("<!DOCTYPE " + repeated("<![", 1'000'000)));
}

TEST(PropertyListLimits, HoldAgainstAMillionLevelsOfABinaryList) {
    EXPECT_FALSE(readPropertyList(binaryArrays(1'000'000)));
}

TEST(PropertyListLimits, HoldAgainst150BytesThatUnfoldToGigabytes) {
    constexpr std::size_t kLevels = 7;
    Builder list(1, 1);
    for (std::size_t i = 1; i <= kLevels; ++i) {
        list.addArray(Builder::References(12, i));
    }
    list.add({0x09});
    const Bytes bomb = list.finish();
    ASSERT_LE(bomb.size(), 150u);
    EXPECT_FALSE(readPropertyList(bomb));
}

TEST(PropertyListLimits, HoldAgainstSharedDictionaries) {
    Builder list(1, 2);
    for (std::size_t i = 1; i <= 20; ++i) {
        list.addDictionary({21, 22}, {i, i});
    }
    list.add({0x09});
    list.addText("a");
    list.addText("b");
    EXPECT_FALSE(readPropertyList(list.finish()));
}

TEST(PropertyListLimits, HoldAgainstNestedLongLists) {
    // Memory for all items of a list is reserved at once: ten times half a million items would take
    // gigabytes.
    Builder list(1, 4);
    for (std::size_t i = 1; i <= 10; ++i) {
        list.addArray(Builder::References(500'000, i));
    }
    list.add({0x09});
    EXPECT_FALSE(readPropertyList(list.finish()));
}

TEST(PropertyListLimits, Allow64MiBOfContentAndNoMore) {
    constexpr std::size_t kSize = 1 << 20;
    constexpr std::size_t kTimes = Limits::kMaxContentBytes / kSize;
    for (const std::uint8_t marker : {0x4f, 0x5f}) {
        const Bytes object = large(marker, kSize, 1);
        EXPECT_TRUE(readPropertyList(binaryRepetition(object, kTimes)));
        EXPECT_FALSE(readPropertyList(binaryRepetition(object, kTimes + 1)));
    }
}

TEST(PropertyListLimits, CountTextAsTheUTF8ThatItBecomes) {
    // "xx" read as one UTF-16 unit is a character of three bytes.
    const Bytes object = large(0x6f, 1 << 20, 2);
    EXPECT_TRUE(readPropertyList(binaryRepetition(object, 21)));
    EXPECT_FALSE(readPropertyList(binaryRepetition(object, 22)));
}

TEST(PropertyListLimits, CountKeysAsContent) {
    for (const std::size_t count : {64, 65}) {
        Builder list(1, 4);
        list.addDictionary(Builder::References(count, 1), Builder::References(count, 2));
        list.add(large(0x5f, 1 << 20, 1));
        list.add({0x09});
        EXPECT_EQ(readPropertyList(list.finish()).has_value(), count == 64);
    }
}

TEST(PropertyListLimits, AllowAFileOf64MiBAndNoMore) {
    std::string text = "<plist><true/></plist>";
    text.resize(Limits::kMaxFileBytes, ' ');
    EXPECT_TRUE(read(text));
    EXPECT_FALSE(read(text + ' '));
}

TEST(PropertyListLimits, HoldAgainstMarkupThatMeansNothing) {
    EXPECT_TRUE(read(repeated("<!---->", 1000) + "<plist><true/></plist>"));
    EXPECT_FALSE(read(repeated("<!---->", 3'000'000) + "<plist><true/></plist>"));
    EXPECT_FALSE(read("<plist " + repeated("a='' ", 1'000'001) + "><true/></plist>"));
    EXPECT_FALSE(read("<plist " + repeated("a =\n\"\" ", 1'000'001) + "><true/></plist>"));
}

} // namespace
