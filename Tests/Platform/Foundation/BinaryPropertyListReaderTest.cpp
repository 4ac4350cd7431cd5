#include "Platform/Foundation/PropertyList.h"

#include "Tests/Platform/Foundation/PropertyListSamples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using Builder = BinaryPropertyListBuilder;
using Bytes = Builder::Bytes;

/// The value of a list that consists of one object.
std::optional<PropertyList> valueOf(const Bytes &object) {
    Builder list;
    list.add(object);
    return readPropertyList(list.finish());
}

Bytes with(Bytes bytes, std::size_t place, std::uint8_t value) {
    bytes.at(place) = value;
    return bytes;
}

/// A valid list of one boolean; the trailer is its last 32 bytes.
Bytes smallest() {
    Builder list(1, 1);
    list.add({0x09});
    return list.finish();
}

/// Offsets of the trailer's fields in the smallest list: 8 bytes of header, the object, one offset,
/// 5 unused bytes.
constexpr std::size_t kOffsetSizePlace = 10 + 6;
constexpr std::size_t kReferenceSizePlace = 10 + 7;
constexpr std::size_t kCountPlace = 10 + 8;
constexpr std::size_t kTopPlace = 10 + 16;
constexpr std::size_t kTablePlace = 10 + 24;

TEST(BinaryPropertyList, HoldsValuesOfEveryType) {
    EXPECT_EQ(readPropertyList(PropertyListSamples::binary()), PropertyListSamples::value());
}

TEST(BinaryPropertyList, HasBooleans) {
    EXPECT_EQ(valueOf({0x08}), PropertyList(false));
    EXPECT_EQ(valueOf({0x09}), PropertyList(true));
}

TEST(BinaryPropertyList, HasShortIntegersWithoutASign) {
    EXPECT_EQ(valueOf({0x10, 0xff}), PropertyList(255));
    EXPECT_EQ(valueOf({0x11, 0xff, 0xfe}), PropertyList(65534));
    EXPECT_EQ(valueOf({0x12, 0xff, 0xff, 0xff, 0xff}), PropertyList(std::int64_t{4294967295}));
}

TEST(BinaryPropertyList, HasIntegersOf8BytesWithASign) {
    using Limits = std::numeric_limits<std::int64_t>;
    EXPECT_EQ(valueOf({0x13, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xfb}), PropertyList(-5));
    EXPECT_EQ(valueOf({0x13, 0x80, 0, 0, 0, 0, 0, 0, 0}), PropertyList(Limits::min()));
    EXPECT_EQ(valueOf({0x13, 0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}),
              PropertyList(Limits::max()));
}

TEST(BinaryPropertyList, HasIntegersOf16BytesThatBecomeRealsWhenTheyNeedMoreThan64Bits) {
    Bytes seven(17, 0);
    seven[0] = 0x14;
    seven[16] = 7;
    EXPECT_EQ(valueOf(seven), PropertyList(7));
    Bytes minusOne(17, 0xff);
    minusOne[0] = 0x14;
    EXPECT_EQ(valueOf(minusOne), PropertyList(-1));
    EXPECT_EQ(valueOf(with(with(seven, 16, 0), 9, 0x80)), PropertyList(0x1p63));
    EXPECT_EQ(valueOf(with(with(seven, 16, 0), 8, 0x01)), PropertyList(0x1p64));
    EXPECT_EQ(valueOf(with(with(seven, 16, 0), 1, 0x80)), PropertyList(-0x1p127));
}

TEST(BinaryPropertyList, HasRealsOf4And8Bytes) {
    EXPECT_EQ(valueOf({0x22, 0xbf, 0x80, 0, 0}), PropertyList(-1.0));
    EXPECT_EQ(valueOf({0x23, 0x3f, 0xe0, 0, 0, 0, 0, 0, 0}), PropertyList(0.5));
    EXPECT_TRUE(std::isnan(*valueOf({0x22, 0x7f, 0xc0, 0, 0})->real()));
}

TEST(BinaryPropertyList, HasDatesInSecondsFromTheStartOf2001) {
    EXPECT_EQ(valueOf({0x33, 0xbf, 0xf8, 0, 0, 0, 0, 0, 0}),
              PropertyList(PropertyList::Date{-1.5}));
}

TEST(BinaryPropertyList, HasTextInASCIIAndUTF16) {
    EXPECT_EQ(valueOf({0x50}), PropertyList(""));
    EXPECT_EQ(valueOf({0x53, 'a', ' ', '~'}), PropertyList("a ~"));
    EXPECT_EQ(valueOf({0x60}), PropertyList(""));
    EXPECT_EQ(valueOf({0x64, 0, 'a', 0, 0xe9, 0xd8, 0x3c, 0xdf, 0x38}),
              PropertyList("a\xc3\xa9\xf0\x9f\x8c\xb8"));
}

TEST(BinaryPropertyList, HasLengthsOfEverySize) {
    const std::string text(20, 'x');
    for (const Bytes &start :
         {Bytes{0x5f, 0x10, 20}, Bytes{0x5f, 0x11, 0, 20}, Bytes{0x5f, 0x12, 0, 0, 0, 20},
          Bytes{0x5f, 0x13, 0, 0, 0, 0, 0, 0, 0, 20}}) {
        Bytes object = start;
        object.insert(object.end(), text.begin(), text.end());
        EXPECT_EQ(valueOf(object), PropertyList(text)) << start.size();
    }
    EXPECT_EQ(valueOf({0x5f, 0x10, 1, 'x'}), PropertyList("x"));
}

TEST(BinaryPropertyList, HasReferencesAndOffsetsOf1To8Bytes) {
    for (std::size_t size = 1; size <= 8; ++size) {
        Builder list(size, size);
        list.addArray({1, 2});
        list.addText("a");
        list.addDictionary({1}, {1});
        EXPECT_EQ(readPropertyList(list.finish()),
                  PropertyList(PropertyList::Array{
                      PropertyList("a"),
                      PropertyList(PropertyList::Dictionary{{"a", PropertyList("a")}})}))
            << size;
    }
}

TEST(BinaryPropertyList, MayHaveItsRootAnywhereAndObjectsThatNobodyNames) {
    Builder list;
    list.add({0xff});
    list.addText("a");
    list.addArray({1, 1});
    EXPECT_EQ(readPropertyList(list.finish(2)),
              PropertyList(PropertyList::Array{PropertyList("a"), PropertyList("a")}));
}

TEST(BinaryPropertyList, LetsTheLastOfEqualKeysCount) {
    Builder list;
    list.addDictionary({1, 2}, {3, 4});
    list.addText("k");
    list.add({0x61, 0, 'k'});
    list.add({0x08});
    list.add({0x09});
    EXPECT_EQ(readPropertyList(list.finish()),
              PropertyList(PropertyList::Dictionary{{"k", PropertyList(true)}}));
}

TEST(BinaryPropertyList, RefusesUnknownObjects) {
    for (const std::uint8_t marker : {0x00, 0x01, 0x07, 0x0a, 0x0f, 0x15, 0x1f, 0x20, 0x21, 0x24,
                                      0x30, 0x32, 0x34, 0x70, 0x80, 0x90, 0xb0, 0xc0, 0xe0, 0xf0}) {
        Bytes object(40, 0);
        object[0] = marker;
        EXPECT_FALSE(valueOf(object)) << int{marker};
    }
}

TEST(BinaryPropertyList, RefusesObjectsThatEndBeyondTheLastOne) {
    for (const Bytes &object :
         {Bytes{0x10}, Bytes{0x11, 0}, Bytes{0x12, 0, 0, 0}, Bytes{0x13, 0, 0, 0, 0, 0, 0, 0},
          Bytes{0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, Bytes{0x22, 0, 0, 0},
          Bytes{0x23, 0, 0, 0, 0, 0, 0, 0}, Bytes{0x33, 0, 0, 0, 0, 0, 0, 0}, Bytes{0x42, 0},
          Bytes{0x52, 'a'}, Bytes{0x62, 0, 'a', 0}, Bytes{0xa1}, Bytes{0xd1, 0}, Bytes{0x4f},
          Bytes{0x5f, 0x10}, Bytes{0x6f, 0x11, 0}}) {
        EXPECT_FALSE(valueOf(object)) << testing::PrintToString(object);
    }
}

TEST(BinaryPropertyList, RefusesLengthsThatAreNoneOrBeyondTheFile) {
    for (const std::uint8_t kind : {0x4f, 0x5f, 0x6f, 0xaf, 0xdf}) {
        EXPECT_FALSE(valueOf({kind, 0x50, 0, 0, 0, 0}));
        EXPECT_FALSE(valueOf({kind, 0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
        EXPECT_FALSE(valueOf({kind, 0x12, 0xff, 0xff, 0xff, 0xff}));
        EXPECT_FALSE(valueOf({kind, 0x13, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}));
        EXPECT_FALSE(valueOf({kind, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 0}));
        EXPECT_FALSE(valueOf({kind, 0x13, 0x20, 0, 0, 0, 0, 0, 0, 1}));
    }
}

TEST(BinaryPropertyList, RefusesTextThatIsNotInItsEncoding) {
    EXPECT_FALSE(valueOf({0x51, 0x80}));
    EXPECT_FALSE(valueOf({0x61, 0xd8, 0x3c}));
    EXPECT_FALSE(valueOf({0x62, 0xdf, 0x38, 0, 'a'}));
}

TEST(BinaryPropertyList, RefusesReferencesToObjectsThatAreNotThere) {
    for (const std::uint64_t reference : {1, 2, 255}) {
        Builder array;
        array.addArray({reference});
        EXPECT_FALSE(readPropertyList(array.finish()));
        Builder dictionary;
        dictionary.addDictionary({reference}, {reference});
        EXPECT_FALSE(readPropertyList(dictionary.finish()));
    }
    Builder wide(8, 8);
    wide.addArray({~std::uint64_t{0}});
    EXPECT_FALSE(readPropertyList(wide.finish()));
}

TEST(BinaryPropertyList, DoesNotTakeTheTrailerForMoreOfTheOffsetTable) {
    // An array of one reference, and a boolean that is not in the offset table.
    Builder list(1, 1);
    list.add({0xa1, 0x01, 0x09});
    Bytes file = list.finish();
    file[file.size() - 32] = 10;
    EXPECT_FALSE(readPropertyList(file));
}

TEST(BinaryPropertyList, RefusesKeysThatAreNoText) {
    for (const Bytes &key : {Bytes{0x10, 1}, Bytes{0x09}, Bytes{0x41, 'k'}, Bytes{0xa0}}) {
        Builder list;
        list.addDictionary({1}, {1});
        list.add(key);
        EXPECT_FALSE(readPropertyList(list.finish())) << testing::PrintToString(key);
    }
}

TEST(BinaryPropertyList, RefusesListsThatHoldThemselves) {
    Builder array;
    array.addArray({0});
    EXPECT_FALSE(readPropertyList(array.finish()));
    Builder wide;
    wide.addArray({0, 0, 0});
    EXPECT_FALSE(readPropertyList(wide.finish()));
    Builder pair;
    pair.addArray({1});
    pair.addDictionary({2}, {0});
    pair.addText("k");
    EXPECT_FALSE(readPropertyList(pair.finish()));
}

TEST(BinaryPropertyList, RefusesOffsetsThatLeadOutOfTheObjects) {
    const Bytes list = smallest();
    ASSERT_TRUE(readPropertyList(list));
    for (const std::uint8_t offset : {0, 7, 9, 10, 20, 41, 42, 255}) {
        EXPECT_FALSE(readPropertyList(with(list, 9, offset))) << int{offset};
    }
}

TEST(BinaryPropertyList, RefusesATrailerThatDoesNotFitTheFile) {
    const Bytes list = smallest();
    for (const std::uint8_t size : {0, 2, 9, 255}) {
        EXPECT_FALSE(readPropertyList(with(list, kOffsetSizePlace, size))) << int{size};
    }
    for (const std::uint8_t size : {0, 9, 255}) {
        EXPECT_FALSE(readPropertyList(with(list, kReferenceSizePlace, size))) << int{size};
    }
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_FALSE(readPropertyList(with(list, kCountPlace + i, 0x80))) << i;
        EXPECT_FALSE(readPropertyList(with(list, kTopPlace + i, 0x01))) << i;
        EXPECT_FALSE(readPropertyList(with(list, kTablePlace + i, 0xff))) << i;
    }
    EXPECT_FALSE(readPropertyList(with(list, kCountPlace + 7, 0)));
    EXPECT_FALSE(readPropertyList(with(list, kTablePlace + 7, 8)));
    EXPECT_FALSE(readPropertyList(with(list, kTablePlace + 7, 0)));
}

TEST(BinaryPropertyList, RefusesCountsWhoseTableWouldWrapAround) {
    Bytes wide = smallest();
    wide[kOffsetSizePlace] = 8;
    wide[kCountPlace] = 0x20;
    EXPECT_FALSE(readPropertyList(wide));

    // An offset table that begins in the trailer, with so many entries that its end wraps around to
    // the start; the first entry is the offset of the boolean.
    Bytes backward = smallest();
    std::fill_n(backward.begin() + kCountPlace, 7, 0xff);
    backward[kCountPlace + 7] = 0x100 - 5;
    backward[kTablePlace + 7] = 10 + 5;
    backward[10 + 5] = 8;
    EXPECT_FALSE(readPropertyList(backward));
}

TEST(BinaryPropertyList, RefusesBytesBetweenTheOffsetTableAndTheTrailer) {
    Builder list(1, 2);
    list.add({0x09});
    Bytes file = list.finish();
    ASSERT_TRUE(readPropertyList(file));
    file.insert(file.end() - 32, 0);
    EXPECT_FALSE(readPropertyList(file));
}

TEST(BinaryPropertyList, RefusesBytesAfterTheTrailer) {
    Bytes list = smallest();
    list.push_back(0);
    EXPECT_FALSE(readPropertyList(list));
}

TEST(BinaryPropertyList, RefusesAListWithoutObjectsOrTrailer) {
    EXPECT_FALSE(readPropertyList(Builder().finish()));
    const std::string_view magic = "bplist00";
    EXPECT_FALSE(PropertyListSamples::read(magic));
    EXPECT_FALSE(PropertyListSamples::read(std::string(magic) + std::string(32, '\0')));
    EXPECT_FALSE(PropertyListSamples::read(std::string(magic) + std::string(32, '\xff')));
}

TEST(BinaryPropertyList, RefusesOtherVersions) {
    EXPECT_FALSE(readPropertyList(with(smallest(), 7, '1')));
    EXPECT_FALSE(readPropertyList(with(smallest(), 6, '1')));
}

} // namespace
