#pragma once

#include <cstdint>
#include <string>

namespace Lumivera {

/// A number in the fewest digits that read back as the same number; never with the locale's comma.
std::string textOfNumber(double number);
std::string textOfNumber(std::int64_t number);
std::string textOfNumber(std::uint64_t number);

} // namespace Lumivera
