#include "Platform/Foundation/FileBytes.h"

#include "Platform/Foundation/RegularFile.h"

#include <algorithm>
#include <new>

namespace {

constexpr std::size_t kGrowth = 64 * 1024;

/// Reads to the end, whatever size the file had when it was opened.
std::optional<std::vector<std::uint8_t>> readToEnd(RegularFile &file, std::uint64_t maximumBytes) {
    // One byte more than expected, so that the read that meets the end needs no growth.
    std::vector<std::uint8_t> bytes(file.size() + 1);
    std::size_t filled = 0;
    for (;;) {
        const auto count = file.read(std::span(bytes).subspan(filled));
        if (!count || filled + *count > maximumBytes) {
            return std::nullopt;
        }
        filled += *count;
        if (filled < bytes.size()) {
            bytes.resize(filled);
            return bytes;
        }
        bytes.resize(filled + std::max(kGrowth, filled / 2));
    }
}

} // namespace

std::optional<std::vector<std::uint8_t>> readFile(const std::string &path,
                                                  std::uint64_t maximumBytes) {
    RegularFile file(path);
    if (!file.isOpen() || file.size() > maximumBytes) {
        return std::nullopt;
    }
    try {
        return readToEnd(file, maximumBytes);
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
}
