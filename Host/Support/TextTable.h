#pragma once

#include <string>
#include <vector>

namespace Lumivera {

/// Rows of cells as lines whose columns stand below each other. Control characters are shown as
/// "?". Widths count Unicode characters.
std::string textTable(const std::vector<std::vector<std::string>> &rows);

} // namespace Lumivera
