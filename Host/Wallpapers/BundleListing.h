#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// What a bundle's description says of it. Its library is never looked at.
struct BundleListing {
    std::string path;

    /// The folder's name when the description has none.
    std::string name;
    std::string author;
    std::string summary;
    std::string license;

    /// Of its library's file, within the bundle.
    std::string library;
    std::optional<std::int32_t> petals;
    std::optional<std::int32_t> speed;

    /// What keeps it from being shown; empty when nothing does.
    std::string problem;

    static BundleListing read(const std::string &path);

    /// The bundles in a folder, by name. Nothing when the folder cannot be read.
    static std::optional<std::vector<BundleListing>> readFolder(const std::string &folder);
};

} // namespace Lumivera
