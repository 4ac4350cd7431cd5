#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// What a shared library asks the dynamic loader for, read from its file without loading it.
struct LibraryNeeds {
    /// Reads bytes at an offset into the file; false when there are not as many.
    using Source = std::function<bool(std::uint64_t offset, void *bytes, std::size_t count)>;

    /// The libraries that it needs, as the file names them.
    std::vector<std::string> libraries;

    /// The folders in which the loader looks for those first, of RPATH and RUNPATH, as the file
    /// names them: $ORIGIN is the folder of the library itself.
    std::vector<std::string> folders;

    /// The number of the wallpaper kit's interface for which it was made (see
    /// Lumivera/Interface.h). Nothing when it does not tell.
    std::optional<std::uint32_t> kitInterface;

    /// Whether it asks to stay loaded when it is closed: linked with -z nodelete.
    bool staysLoaded = false;

    /// Nothing of what a damaged file, or one for another processor, asks for; the loader refuses
    /// such a file. At most kMaxEntries entries, kMaxText bytes of each text and kMaxNotes bytes of
    /// each segment of notes are read.
    static LibraryNeeds read(const Source &source);

    static constexpr std::size_t kMaxEntries = 4096;
    static constexpr std::size_t kMaxText = 4096;
    static constexpr std::size_t kMaxNotes = 4096;
};

} // namespace Lumivera
