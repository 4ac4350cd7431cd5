#include "Host/Support/TextTable.h"

#include "Host/Support/HostError.h"

#include <algorithm>

namespace Lumivera {

namespace {

/// Every byte but those that continue a character.
std::size_t widthOf(const std::string &text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
    }));
}

} // namespace

std::string textTable(const std::vector<std::vector<std::string>> &rows) {
    std::vector<std::size_t> widths;
    for (const auto &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], widthOf(inOneLine(row[i])));
        }
    }
    std::string text;
    for (const auto &row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string cell = inOneLine(row[i]);
            text += cell;
            if (i + 1 < row.size()) {
                text.append(widths[i] - widthOf(cell) + 2, ' ');
            }
        }
        text += '\n';
    }
    return text;
}

} // namespace Lumivera
