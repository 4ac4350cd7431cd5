#include "Host/Support/StandardOutput.h"

#include "Host/Support/HostError.h"

#include <cerrno>
#include <cstdio>

namespace Lumivera {

void printToStandardOutput(std::string_view text) {
    const bool written =
        std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (!written && errno != EPIPE) {
        throw HostError("standard output", "cannot be written: " + systemErrorText());
    }
}

} // namespace Lumivera
