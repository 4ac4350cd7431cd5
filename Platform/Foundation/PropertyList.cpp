#include "Platform/Foundation/PropertyList.h"

#include "Platform/Foundation/PropertyListReading.h"

#include <limits>
#include <string_view>

namespace {

constexpr std::int64_t kMaxInteger = std::numeric_limits<std::int32_t>::max();

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::int32_t leadingInteger(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    std::int64_t value = 0;
    for (const char c : text) {
        // Beyond the limits further digits change nothing, and could overflow.
        if (!isDigit(c) || value > kMaxInteger) {
            break;
        }
        value = value * 10 + (c - '0');
    }
    return truncated(static_cast<double>(isNegative ? -value : value));
}

} // namespace

std::optional<std::int32_t> PropertyList::integerValue() const noexcept {
    if (const bool *value = boolean()) {
        return *value ? 1 : 0;
    }
    if (const std::int64_t *value = integer()) {
        return truncated(static_cast<double>(*value));
    }
    if (const double *value = real()) {
        return truncated(*value);
    }
    if (const std::string *value = text()) {
        return leadingInteger(*value);
    }
    return std::nullopt;
}

std::optional<PropertyList> readPropertyList(std::span<const std::uint8_t> bytes) {
    if (bytes.size() > PropertyListLimits::kMaxFileBytes) {
        return std::nullopt;
    }
    return isBinaryPropertyList(bytes) ? readBinaryPropertyList(bytes) : readXMLPropertyList(bytes);
}
