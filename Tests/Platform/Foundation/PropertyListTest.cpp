#include "Platform/Foundation/PropertyList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using Limits = std::numeric_limits<std::int32_t>;

std::optional<std::int32_t> ofText(const char *text) { return PropertyList(text).integerValue(); }

std::optional<std::int32_t> ofReal(double value) { return PropertyList(value).integerValue(); }

std::optional<std::int32_t> ofInteger(std::int64_t value) {
    return PropertyList(value).integerValue();
}

/// The number of accessors that find their type.
int typesOf(const PropertyList &list) {
    return (list.boolean() != nullptr) + (list.integer() != nullptr) + (list.real() != nullptr) +
           (list.text() != nullptr) + (list.data() != nullptr) + (list.date() != nullptr) +
           (list.array() != nullptr) + (list.dictionary() != nullptr);
}

TEST(PropertyList, HasTheTypeThatItWasMadeWithAndNoOther) {
    EXPECT_EQ(*PropertyList(true).boolean(), true);
    EXPECT_EQ(*PropertyList(7).integer(), 7);
    EXPECT_EQ(*PropertyList(0.5).real(), 0.5);
    EXPECT_EQ(*PropertyList("petal").text(), "petal");
    EXPECT_EQ(PropertyList(PropertyList::Data{{1, 2}}).data()->bytes.size(), 2u);
    EXPECT_EQ(PropertyList(PropertyList::Date{-1.5}).date()->seconds, -1.5);
    EXPECT_EQ(PropertyList(PropertyList::Array{PropertyList(1)}).array()->size(), 1u);
    EXPECT_EQ(PropertyList(PropertyList::Dictionary{}).dictionary()->size(), 0u);
}

TEST(PropertyList, HasExactlyOneType) {
    for (const PropertyList &list :
         {PropertyList(false), PropertyList(1), PropertyList(1.0), PropertyList("1"),
          PropertyList(PropertyList::Data{}), PropertyList(PropertyList::Date{}),
          PropertyList(PropertyList::Array{}), PropertyList(PropertyList::Dictionary{})}) {
        EXPECT_EQ(typesOf(list), 1);
    }
}

TEST(PropertyList, EqualsOnlyWhatHasTheSameTypeAndContents) {
    EXPECT_EQ(PropertyList(1), PropertyList(std::int64_t{1}));
    EXPECT_NE(PropertyList(1), PropertyList(1.0));
    EXPECT_NE(PropertyList(1), PropertyList(true));
    EXPECT_NE(PropertyList(PropertyList::Array{PropertyList("a")}),
              PropertyList(PropertyList::Array{PropertyList("b")}));
}

TEST(PropertyListIntegerValue, OfAnIntegerIsTheInteger) {
    EXPECT_EQ(ofInteger(0), 0);
    EXPECT_EQ(ofInteger(-5), -5);
    EXPECT_EQ(ofInteger(Limits::max()), Limits::max());
    EXPECT_EQ(ofInteger(Limits::min()), Limits::min());
}

TEST(PropertyListIntegerValue, OfAnIntegerBeyond32BitsIsTheNearestLimit) {
    EXPECT_EQ(ofInteger(std::int64_t{Limits::max()} + 1), Limits::max());
    EXPECT_EQ(ofInteger(std::int64_t{Limits::min()} - 1), Limits::min());
    EXPECT_EQ(ofInteger(std::numeric_limits<std::int64_t>::max()), Limits::max());
    EXPECT_EQ(ofInteger(std::numeric_limits<std::int64_t>::min()), Limits::min());
}

TEST(PropertyListIntegerValue, OfARealIsItsIntegerPart) {
    EXPECT_EQ(ofReal(2.99), 2);
    EXPECT_EQ(ofReal(-2.99), -2);
    EXPECT_EQ(ofReal(-0.5), 0);
    EXPECT_EQ(ofReal(2147483647.9), Limits::max());
}

TEST(PropertyListIntegerValue, OfARealBeyond32BitsIsTheNearestLimit) {
    EXPECT_EQ(ofReal(2147483648.0), Limits::max());
    EXPECT_EQ(ofReal(-2147483649.0), Limits::min());
    EXPECT_EQ(ofReal(1e300), Limits::max());
    EXPECT_EQ(ofReal(HUGE_VAL), Limits::max());
    EXPECT_EQ(ofReal(-HUGE_VAL), Limits::min());
}

TEST(PropertyListIntegerValue, OfWhatIsNoNumberAtAllIsZero) { EXPECT_EQ(ofReal(std::nan("")), 0); }

TEST(PropertyListIntegerValue, OfABooleanIsZeroOrOne) {
    EXPECT_EQ(PropertyList(false).integerValue(), 0);
    EXPECT_EQ(PropertyList(true).integerValue(), 1);
}

TEST(PropertyListIntegerValue, OfATextIsTheIntegerAtItsStart) {
    EXPECT_EQ(ofText("40"), 40);
    EXPECT_EQ(ofText("40 petals"), 40);
    EXPECT_EQ(ofText("-3"), -3);
    EXPECT_EQ(ofText("+12.9"), 12);
    EXPECT_EQ(ofText("007"), 7);
    EXPECT_EQ(ofText("0x10"), 0);
    EXPECT_EQ(ofText("1e3"), 1);
}

TEST(PropertyListIntegerValue, OfATextThatDoesNotBeginWithAnIntegerIsZero) {
    for (const char *text : {"", "petals", " 40", "\t40", "-", "+", "--4", "+-4", "- 4", ".5"}) {
        EXPECT_EQ(ofText(text), 0) << '"' << text << '"';
    }
}

TEST(PropertyListIntegerValue, OfATextBeyond32BitsIsTheNearestLimit) {
    EXPECT_EQ(ofText("2147483647"), Limits::max());
    EXPECT_EQ(ofText("2147483648"), Limits::max());
    EXPECT_EQ(ofText("-2147483648"), Limits::min());
    EXPECT_EQ(ofText("-2147483649"), Limits::min());
    EXPECT_EQ(ofText("99999999999999999999999999999999"), Limits::max());
    EXPECT_EQ(ofText("-99999999999999999999999999999999"), Limits::min());
    EXPECT_EQ(ofText("00000000000000000000000000000012"), 12);
}

TEST(PropertyListIntegerValue, OfTheOtherTypesIsNothing) {
    EXPECT_FALSE(PropertyList(PropertyList::Data{{'4'}}).integerValue());
    EXPECT_FALSE(PropertyList(PropertyList::Date{4}).integerValue());
    EXPECT_FALSE(PropertyList(PropertyList::Array{PropertyList(4)}).integerValue());
    EXPECT_FALSE(PropertyList(PropertyList::Dictionary{}).integerValue());
}

} // namespace
