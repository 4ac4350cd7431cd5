#include "Host/Support/HostError.h"

#include "Platform/Foundation/NSString.h"

#include <cerrno>
#include <cstring>

namespace Lumivera {

namespace {

std::string line(std::string_view subject, std::string_view problem, std::string_view advice) {
    std::string text(subject);
    text.append(": ").append(problem);
    if (!advice.empty()) {
        text.append("; ").append(advice);
    }
    return inOneLine(text);
}

} // namespace

HostError::HostError(std::string_view subject, std::string_view problem, std::string_view advice)
    : std::runtime_error(line(subject, problem, advice)) {}

std::string inOneLine(std::string_view text) { return withoutControls(text); }

std::string systemErrorText() { return std::strerror(errno); }

} // namespace Lumivera
