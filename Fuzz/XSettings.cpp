// Settings of a desktop are read within their bytes, and say a density that makes sense or none.

#include "Host/Displays/X11/X11Outputs.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

std::optional<double> densityOf(std::string_view bytes) {
    const auto density = Lumivera::densityFromXSettings(bytes);
    require(!density || (*density >= 0.1 && *density <= 10));
    return density;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    const auto density = densityOf(bytes);
    // What follows the settings does not count.
    require(!density || densityOf(bytes + '\0') == density);
    densityOf(std::string_view(bytes).substr(0, size / 2));
    return 0;
}
