#pragma once

#include "Host/Wallpapers/BundleFolder.h"
#include "Platform/Foundation/NSDictionary.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Lumivera {

/// What the rules look at: a bundle's files and its description, read as far as they can be, and
/// its pictures, each decoded when it is first asked for. Runs none of its code.
class CheckedBundle {
  public:
    enum class Kind { File, Folder, Link, Other };

    struct Entry {
        /// The path below the bundle.
        std::string name;
        Kind kind = Kind::File;
        std::uint64_t bytes = 0;
    };

    /// A picture's size in pixels and what its transparency looks like.
    struct Picture {
        std::uint64_t width = 0;
        std::uint64_t height = 0;
        bool isOpaque = false;

        /// No pixel can be seen.
        bool isClear = false;

        /// Of the pixels at its edge, the share that covers what is behind.
        double coveredEdge = 0;
    };

    CheckedBundle(std::string path, BundleFolder::Trust trust);

    const std::string &path() const { return _path; }
    BundleFolder::Trust trust() const { return _trust; }

    /// Empty when the folder can be read.
    const std::string &problem() const { return _problem; }

    /// Everything in it, sorted by name; at most as much as BundleFolder allows.
    const std::vector<Entry> &entries() const { return _entries; }
    bool hasTooMuch() const { return _hasTooMuch; }

    const Entry *find(std::string_view name) const;
    std::string pathOf(std::string_view name) const { return _path + "/" + std::string(name); }

    /// Null when it is missing or cannot be read.
    const NSDictionary *description() const { return _description.get(); }

    /// A text of the description; empty when it is missing or no text.
    std::string text(std::string_view key) const;

    /// True when the library that comes with this program makes its view: it shows pictures of
    /// certain names. True also without a description.
    bool usesShippedLibrary() const;

    /// True when it brings a library of its own.
    bool hasCode() const { return !usesShippedLibrary(); }

    /// Null for a file that cannot be decoded.
    const Picture *picture(const std::string &name) const;

    /// True for the name of a PNG, JPEG or WebP file.
    static bool isPictureName(std::string_view name);

    /// The name without @2x or @3x, and the density: 1 for other names.
    static std::pair<std::string, int> withoutDensity(const std::string &name);

    /// The name for that density: "a@2x.png" for "a.png".
    static std::string withDensity(const std::string &name, int density);

  private:
    void readEntries();

    const std::string _path;
    const BundleFolder::Trust _trust;
    std::string _problem;
    std::vector<Entry> _entries;
    bool _hasTooMuch = false;
    Retained<NSDictionary> _description;
    mutable std::map<std::string, std::optional<Picture>> _pictures;
};

} // namespace Lumivera
