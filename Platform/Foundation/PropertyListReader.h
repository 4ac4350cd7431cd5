#pragma once

#include "Platform/Foundation/PlatformExport.h"
#include "Platform/Foundation/PropertyList.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

/// What a property list may hold. A file of a few bytes can ask for gigabytes, since a binary list
/// may name one object many times, so it is what comes out that counts, each time anew.
struct PropertyListLimits {
    static constexpr std::size_t kFileBytes = 64 << 20;
    /// Values and keys.
    static constexpr std::size_t kNodes = 1'000'000;
    /// Bytes of text, keys and data, taken together.
    static constexpr std::size_t kContentBytes = 64 << 20;
    /// Values inside one another; the outermost counts 1.
    static constexpr std::size_t kDepth = 256;
};

/// Reads a property list in XML (UTF-8) or in the binary form "bplist00". Nothing when it is
/// malformed or beyond the limits. Of entries with equal keys the last one counts. Integers beyond
/// 64 signed bits become reals. Entities that an XML document defines for itself stay as they are
/// written; sets and UIDs, which only archives of objects hold, are malformed. Any thread.
PLATFORM_EXPORT std::optional<PropertyList> readPropertyList(std::span<const std::uint8_t> bytes);
