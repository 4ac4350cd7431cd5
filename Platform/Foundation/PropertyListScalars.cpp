#include "Platform/Foundation/PropertyListReading.h"

#include <array>
#include <charconv>
#include <chrono>
#include <string>

namespace {

constexpr std::string_view kSpace = " \t\n\r";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kSpace);
    const std::size_t last = text.find_last_not_of(kSpace);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, last - first + 1);
}

bool isSign(char c) { return c == '-' || c == '+'; }

/// Removes a sign; true when it was a minus.
bool takeSign(std::string_view &text) {
    const bool isNegative = text.starts_with('-');
    if (!text.empty() && isSign(text.front())) {
        text.remove_prefix(1);
    }
    return isNegative;
}

/// Parses the whole text as a number; `form` is the base or the format.
template <class T, class... Form> std::errc parse(std::string_view text, T &value, Form... form) {
    const char *end = text.data() + text.size();
    // A sign was removed already, but from_chars would accept another minus.
    if (text.empty() || isSign(text.front())) {
        return std::errc::invalid_argument;
    }
    const auto result = std::from_chars(text.data(), end, value, form...);
    return result.ptr == end ? result.ec : std::errc::invalid_argument;
}

std::optional<PropertyList> largeInteger(std::string_view digits, bool isHexadecimal,
                                         bool isNegative) {
    const auto format = isHexadecimal ? std::chars_format::hex : std::chars_format::fixed;
    double value = 0;
    if (parse(digits, value, format) != std::errc()) {
        return std::nullopt;
    }
    return PropertyList(isNegative ? -value : value);
}

/// The number of `count` digits at `place` in a date; -1 when other characters stand there.
int digitsAt(std::string_view text, std::size_t place, std::size_t count) {
    unsigned value = 0;
    return parse(text.substr(place, count), value, 10) == std::errc() ? static_cast<int>(value)
                                                                      : -1;
}

bool hasFormOfDate(std::string_view text) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
    if (text.size() != kForm.size()) {
        return false;
    }
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (kForm[i] == '0' ? !isDigit : text[i] != kForm[i]) {
            return false;
        }
    }
    return true;
}

constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::int8_t kNoDigit = -1;

constexpr auto kBase64Values = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(kNoDigit);
    for (std::size_t i = 0; i < kBase64.size(); ++i) {
        values[static_cast<unsigned char>(kBase64[i])] = static_cast<std::int8_t>(i);
    }
    return values;
}();

/// Collects the bytes of base64 text, a character at a time.
class Base64Decoder {
  public:
    /// False when the character may not stand there.
    bool add(char c) {
        if (c == '=') {
            ++_padding;
            return true;
        }
        const std::int8_t value = kBase64Values[static_cast<unsigned char>(c)];
        if (value == kNoDigit || _padding > 0) {
            return false;
        }
        _bits = _bits << 6 | static_cast<std::uint32_t>(value);
        _bitCount += 6;
        if (_bitCount >= 8) {
            _bitCount -= 8;
            _bytes.push_back(static_cast<std::uint8_t>(_bits >> _bitCount));
        }
        return true;
    }

    /// Nothing when the text ended inside a group of four characters without its padding.
    std::optional<std::vector<std::uint8_t>> finish() {
        const bool isComplete = _bitCount != 6 && _padding == _bitCount / 2;
        return isComplete ? std::optional(std::move(_bytes)) : std::nullopt;
    }

  private:
    std::vector<std::uint8_t> _bytes;
    std::uint32_t _bits = 0;
    unsigned _bitCount = 0;
    std::size_t _padding = 0;
};

} // namespace

std::optional<PropertyList> integerFromText(std::string_view text) {
    std::string_view digits = trimmed(text);
    const bool isNegative = takeSign(digits);
    const bool isHexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
    if (isHexadecimal) {
        digits.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const std::errc error = parse(digits, magnitude, isHexadecimal ? 16 : 10);
    constexpr std::uint64_t kMinMagnitude = std::uint64_t{1} << 63;
    if (error == std::errc() && magnitude < kMinMagnitude + isNegative) {
        return PropertyList(static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude));
    }
    const bool isLarge = error == std::errc() || error == std::errc::result_out_of_range;
    return isLarge ? largeInteger(digits, isHexadecimal, isNegative) : std::nullopt;
}

std::optional<double> realFromText(std::string_view text) {
    std::string_view digits = trimmed(text);
    const bool isNegative = takeSign(digits);
    double value = 0;
    if (parse(digits, value) != std::errc()) {
        return std::nullopt;
    }
    return isNegative ? -value : value;
}

std::optional<PropertyList::Date> dateFromText(std::string_view text) {
    using namespace std::chrono;
    const std::string_view date = trimmed(text);
    if (!hasFormOfDate(date)) {
        return std::nullopt;
    }
    const year_month_day day{year(digitsAt(date, 0, 4)), month(digitsAt(date, 5, 2)),
                             std::chrono::day(digitsAt(date, 8, 2))};
    const int hour = digitsAt(date, 11, 2);
    const int minute = digitsAt(date, 14, 2);
    const int second = digitsAt(date, 17, 2);
    if (!day.ok() || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    const sys_seconds time = sys_days(day) + hours(hour) + minutes(minute) + seconds(second);
    const sys_seconds reference = sys_days(year(2001) / 1 / 1);
    return PropertyList::Date{static_cast<double>((time - reference).count())};
}

std::optional<std::vector<std::uint8_t>> bytesFromBase64(std::string_view text) {
    Base64Decoder decoder;
    for (const char c : text) {
        if (kSpace.find(c) == std::string_view::npos && !decoder.add(c)) {
            return std::nullopt;
        }
    }
    return decoder.finish();
}
