#pragma once

#include "Host/Wallpapers/BundleContents.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Lumivera {

/// A bundle as one file, NAME.lumivera. It is a zip file of a strict layout: first the entry
/// "mimetype" with the type's name, stored, so that programs know the file by its first bytes; then
/// the bundle's files below a folder of the bundle's name; nothing between the entries, before or
/// behind them. Any thread.
class BundleArchive {
  public:
    BundleArchive() = delete;

    /// Reads a file and checks all of it. Throws a HostError that says what is wrong.
    static BundleContents read(const std::string &path);

    /// The same for the bytes of a file; `path` is for messages.
    static BundleContents parse(std::span<const std::uint8_t> bytes, const std::string &path);

    /// The bytes of a file. Equal bundles give equal bytes. Throws a HostError that names `path`.
    static std::vector<std::uint8_t> bytesOf(const BundleContents &bundle, const std::string &path);

    static constexpr const char *kEnding = ".lumivera";
    static constexpr const char *kType = "application/x-lumivera-bundle";

    /// Limit of the file: what it holds may be stored without compression.
    static constexpr std::uint64_t kMaxBytes = BundleContents::kMaxBytes + (16 << 20);

    /// Limit of the list of entries at the file's end.
    static constexpr std::uint32_t kMaxListBytes = 4 << 20;

    /// Files up to the first size, taken together, may be packed however well; more only so many
    /// times.
    static constexpr std::uint64_t kUnsuspiciousBytes = 16 << 20;
    static constexpr std::uint64_t kMaxRatio = 50;
};

} // namespace Lumivera
