#pragma once

#include "Platform/Foundation/PropertyList.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

// The parts of readPropertyList, which describes what the readers accept.

/// True when the bytes begin like a binary property list.
bool isBinaryPropertyList(std::span<const std::uint8_t> bytes);

/// `bytes` must begin like a binary property list.
std::optional<PropertyList> readBinaryPropertyList(std::span<const std::uint8_t> bytes);

std::optional<PropertyList> readXMLPropertyList(std::span<const std::uint8_t> bytes);

/// The rest of the limits while a property list is being read. The readers ask before they allocate
/// anything; false when not enough is left.
class PropertyListBudget {
  public:
    bool takeNodes(std::uint64_t count) { return take(_nodes, count); }
    bool takeContentBytes(std::uint64_t count) { return take(_contentBytes, count); }

  private:
    static bool take(std::uint64_t &left, std::uint64_t count) {
        if (count > left) {
            return false;
        }
        left -= count;
        return true;
    }

    std::uint64_t _nodes = PropertyListLimits::kMaxNodes;
    std::uint64_t _contentBytes = PropertyListLimits::kMaxContentBytes;
};

// Simple values as XML writes them. White space around them is ignored; any other text that is not
// of the form gives nothing.

/// Decimal, or hexadecimal after "0x"; a sign may lead it. A real when it needs more than 64 signed
/// bits.
std::optional<PropertyList> integerFromText(std::string_view text);

/// Decimal, with or without an exponent, or "inf", "infinity" or "nan"; a sign may lead it.
std::optional<double> realFromText(std::string_view text);

/// In the form 2001-12-31T23:59:59Z.
std::optional<PropertyList::Date> dateFromText(std::string_view text);

/// White space may stand anywhere; the padding is required.
std::optional<std::vector<std::uint8_t>> bytesFromBase64(std::string_view text);
