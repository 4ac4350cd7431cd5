#include "Host/Support/NumberText.h"

#include <array>
#include <charconv>

namespace Lumivera {

namespace {

template <typename Number> std::string shortestText(Number number) {
    std::array<char, 32> text;
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), result.ptr};
}

} // namespace

std::string textOfNumber(double number) { return shortestText(number); }
std::string textOfNumber(std::int64_t number) { return shortestText(number); }
std::string textOfNumber(std::uint64_t number) { return shortestText(number); }

} // namespace Lumivera
