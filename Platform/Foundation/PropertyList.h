#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// One value of a property list, with everything in it. Text and keys are UTF-8.
class PLATFORM_EXPORT PropertyList {
  public:
    struct Data {
        std::vector<std::uint8_t> bytes;
        bool operator==(const Data &) const = default;
    };

    struct Date {
        /// Seconds since 2001-01-01 00:00:00 UTC, without leap seconds; may be negative.
        double seconds = 0;
        bool operator==(const Date &) const = default;
    };

    using Array = std::vector<PropertyList>;
    using Dictionary = std::map<std::string, PropertyList, std::less<>>;

    explicit PropertyList(bool value) : _value(value) {}
    explicit PropertyList(int value) : _value(std::int64_t{value}) {}
    explicit PropertyList(std::int64_t value) : _value(value) {}
    explicit PropertyList(double value) : _value(value) {}
    explicit PropertyList(const char *text) : _value(std::string(text)) {}
    explicit PropertyList(std::string text) : _value(std::move(text)) {}
    explicit PropertyList(Data data) : _value(std::move(data)) {}
    explicit PropertyList(Date date) : _value(date) {}
    explicit PropertyList(Array values) : _value(std::move(values)) {}
    explicit PropertyList(Dictionary entries) : _value(std::move(entries)) {}

    /// The value when it has the type that is asked for, else null. Valid as long as this object.
    const bool *boolean() const noexcept { return std::get_if<bool>(&_value); }
    const std::int64_t *integer() const noexcept { return std::get_if<std::int64_t>(&_value); }
    const double *real() const noexcept { return std::get_if<double>(&_value); }
    const std::string *text() const noexcept { return std::get_if<std::string>(&_value); }
    const Data *data() const noexcept { return std::get_if<Data>(&_value); }
    const Date *date() const noexcept { return std::get_if<Date>(&_value); }
    const Array *array() const noexcept { return std::get_if<Array>(&_value); }
    const Dictionary *dictionary() const noexcept { return std::get_if<Dictionary>(&_value); }

    /// The value as a 32-bit number: the integer part of a number, 0 or 1 for a boolean, the
    /// decimal integer at the very start of a text (a sign may lead it; 0 when there is none).
    /// Larger values are clamped, NaN gives 0. Nothing for the other types.
    std::optional<std::int32_t> integerValue() const noexcept;

    friend bool operator==(const PropertyList &left, const PropertyList &right) {
        return left._value == right._value;
    }

  private:
    std::variant<bool, std::int64_t, double, std::string, Data, Date, Array, Dictionary> _value;
};

/// What a property list may hold. A binary list may refer to one object many times, so that a file
/// of a few bytes could ask for gigabytes; therefore each reference counts again.
struct PropertyListLimits {
    static constexpr std::size_t kMaxFileBytes = 64 << 20;
    /// Values and keys.
    static constexpr std::size_t kMaxNodes = 1'000'000;
    /// Bytes of text, keys and data, taken together.
    static constexpr std::size_t kMaxContentBytes = 64 << 20;
    /// Levels of nested values; the outermost value is level 1.
    static constexpr std::size_t kMaxDepth = 256;
};

/// Reads a property list in XML (UTF-8) or in the binary form "bplist00". Nothing when it is
/// malformed or beyond the limits. Of entries with equal keys the last one counts. Integers beyond
/// 64 signed bits become reals. Entities that an XML document defines for itself stay as they are
/// written; sets and UIDs, which only archives of objects hold, are malformed. Any thread.
PLATFORM_EXPORT std::optional<PropertyList> readPropertyList(std::span<const std::uint8_t> bytes);
