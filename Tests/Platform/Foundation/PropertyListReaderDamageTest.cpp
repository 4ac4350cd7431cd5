#include "Platform/Foundation/PropertyList.h"

#include "Platform/Foundation/NSString.h"
#include "Tests/Platform/Foundation/PropertyListSamples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes xmlSample() {
    const std::string text = PropertyListSamples::xml();
    return {text.begin(), text.end()};
}

bool allTextIsValid(const PropertyList &list) {
    if (const std::string *text = list.text()) {
        return isValidUTF8(*text);
    }
    if (const PropertyList::Array *values = list.array()) {
        return std::all_of(values->begin(), values->end(), allTextIsValid);
    }
    if (const PropertyList::Dictionary *entries = list.dictionary()) {
        return std::all_of(entries->begin(), entries->end(), [](const auto &entry) {
            return isValidUTF8(entry.first) && allTextIsValid(entry.second);
        });
    }
    return true;
}

/// Damages bytes at pseudo-random places, the same on every run and machine.
class Damage {
  public:
    explicit Damage(std::uint32_t seed) : _random(seed) {}

    Bytes applyTo(Bytes bytes) {
        for (std::uint32_t i = below(4) + 1; i > 0 && !bytes.empty(); --i) {
            damageOnce(bytes);
        }
        return bytes;
    }

  private:
    std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(_random() % limit); }

    void damageOnce(Bytes &bytes) {
        const auto place = bytes.begin() + below(bytes.size());
        switch (below(5)) {
        case 0:
            *place = static_cast<std::uint8_t>(_random());
            break;
        case 1:
            *place ^= static_cast<std::uint8_t>(1 << below(8));
            break;
        case 2:
            bytes.insert(place, static_cast<std::uint8_t>(_random()));
            break;
        case 3:
            bytes.erase(place);
            break;
        case 4:
            // Small numbers are offsets, lengths and references.
            *place = static_cast<std::uint8_t>(below(32));
            break;
        }
    }

    std::mt19937 _random;
};

void readDamaged(const Bytes &sample, int times) {
    Damage damage(20010101);
    int accepted = 0;
    for (int i = 0; i < times; ++i) {
        const auto list = readPropertyList(damage.applyTo(sample));
        accepted += list.has_value();
        ASSERT_TRUE(!list || allTextIsValid(*list)) << "in round " << i;
    }
    // Some of the damaged lists must be valid and some not; otherwise the damage tests nothing.
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, times);
}

TEST(DamagedPropertyList, IsNothingWhenXMLEndsEarlyAnywhere) {
    const Bytes whole = xmlSample();
    ASSERT_TRUE(readPropertyList(whole));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(readPropertyList(part)) << size;
    }
}

TEST(DamagedPropertyList, IsNothingWhenABinaryListEndsEarlyAnywhere) {
    const Bytes whole = PropertyListSamples::binary();
    ASSERT_TRUE(readPropertyList(whole));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(readPropertyList(part)) << size;
    }
}

TEST(DamagedPropertyList, IsNothingWhenABinaryListLosesItsStart) {
    const Bytes whole = PropertyListSamples::binary();
    for (std::size_t lost = 1; lost <= whole.size(); ++lost) {
        const Bytes part(whole.begin() + static_cast<std::ptrdiff_t>(lost), whole.end());
        EXPECT_FALSE(readPropertyList(part)) << lost;
    }
}

TEST(DamagedPropertyList, NeverYieldsInvalidTextFromXML) { readDamaged(xmlSample(), 20'000); }

TEST(DamagedPropertyList, NeverYieldsInvalidTextFromABinaryList) {
    readDamaged(PropertyListSamples::binary(), 20'000);
}

TEST(DamagedPropertyList, OfRandomBytesIsNothing) {
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) {
        Bytes bytes(random() % 300);
        for (std::uint8_t &byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
        EXPECT_FALSE(readPropertyList(bytes)) << "in round " << i;
        bytes.insert(bytes.begin(), {'b', 'p', 'l', 'i', 's', 't', '0', '0'});
        EXPECT_FALSE(readPropertyList(bytes)) << "in round " << i;
    }
}

} // namespace
