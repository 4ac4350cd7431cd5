#pragma once

#include <string_view>

namespace Lumivera {

/// Prints results. A reader that went away is no failure; anything else is a HostError.
void printToStandardOutput(std::string_view text);

} // namespace Lumivera
