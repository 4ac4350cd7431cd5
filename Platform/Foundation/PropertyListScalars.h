#pragma once

#include "Platform/Foundation/PropertyList.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

/// The simple values of property lists as XML writes them. White space around them is ignored, all
/// else that does not belong there gives nothing.

/// Decimal, or hexadecimal after "0x"; a sign may lead it. A real when it needs more than 64 signed
/// bits.
std::optional<PropertyList> integerFromText(std::string_view text);

/// Decimal, with or without an exponent, or "inf", "infinity" or "nan"; a sign may lead it.
std::optional<double> realFromText(std::string_view text);

/// In the form 2001-12-31T23:59:59Z.
std::optional<PropertyList::Date> dateFromText(std::string_view text);

/// White space may stand anywhere; the padding must be there.
std::optional<std::vector<std::uint8_t>> bytesFromBase64(std::string_view text);
