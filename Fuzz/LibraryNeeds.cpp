// A library's file either gives texts within the limits or nothing, whatever its headers say, and
// nothing beyond its end is read.

#include "Host/Wallpapers/LibraryNeeds.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

using Lumivera::LibraryNeeds;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const LibraryNeeds needs =
        LibraryNeeds::read([&](std::uint64_t offset, void *bytes, std::size_t count) {
            if (offset > size || count > size - offset) {
                return false;
            }
            if (count > 0) {
                std::memcpy(bytes, data + offset, count);
            }
            return true;
        });
    require(needs.libraries.size() <= LibraryNeeds::kMaxEntries);
    for (const std::string &name : needs.libraries) {
        require(name.size() <= LibraryNeeds::kMaxText && name.find('\0') == std::string::npos);
    }
    for (const std::string &folder : needs.folders) {
        require(folder.size() <= LibraryNeeds::kMaxText && folder.find(':') == std::string::npos);
    }
    return 0;
}
