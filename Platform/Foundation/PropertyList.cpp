#include "Platform/Foundation/PropertyList.h"

#include "Platform/Foundation/Truncation.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int32_t>::max();

std::int32_t nearest(std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp(value, kLowest, kHighest));
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::int32_t leadingInteger(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    std::int64_t value = 0;
    for (const char c : text) {
        // One step beyond the limits is enough to know the nearest one.
        if (!isDigit(c) || value > kHighest) {
            break;
        }
        value = value * 10 + (c - '0');
    }
    return nearest(isNegative ? -value : value);
}

} // namespace

std::optional<std::int32_t> PropertyList::integerValue() const noexcept {
    if (const bool *value = boolean()) {
        return *value ? 1 : 0;
    }
    if (const std::int64_t *value = integer()) {
        return nearest(*value);
    }
    if (const double *value = real()) {
        return truncated(*value);
    }
    if (const std::string *value = text()) {
        return leadingInteger(*value);
    }
    return std::nullopt;
}
