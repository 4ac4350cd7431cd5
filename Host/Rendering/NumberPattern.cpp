#include "Host/Rendering/NumberPattern.h"

namespace Lumivera {

std::optional<NumberPattern> NumberPattern::parse(const std::string &path) {
    const std::size_t start = path.find('%');
    if (start == std::string::npos || path.find('%', start + 1) != std::string::npos ||
        path.find('/', start) != std::string::npos) {
        return std::nullopt;
    }
    NumberPattern pattern;
    std::size_t at = start + 1;
    if (at + 1 < path.size() && path[at] == '0' && path[at + 1] >= '1' && path[at + 1] <= '9') {
        pattern._width = static_cast<std::size_t>(path[at + 1] - '0');
        at += 2;
    }
    if (at >= path.size() || path[at] != 'd') {
        return std::nullopt;
    }
    pattern._before = path.substr(0, start);
    pattern._after = path.substr(at + 1);
    return pattern;
}

std::string NumberPattern::pathFor(NSUInteger number) const {
    std::string digits = std::to_string(number);
    if (digits.size() < _width) {
        digits.insert(0, _width - digits.size(), '0');
    }
    return _before + digits + _after;
}

} // namespace Lumivera
