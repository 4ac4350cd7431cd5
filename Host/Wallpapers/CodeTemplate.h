#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Lumivera {

/// The sources of a small wallpaper with code of its own, which `lumivera new --code` copies for
/// somebody to begin with. The files, and their names, have "NewName" where the new wallpaper's
/// name belongs.
class CodeTemplate {
  public:
    /// Reads the template in a folder. Throws a HostError when there is none, or when it is
    /// damaged.
    explicit CodeTemplate(const std::string &folder);

    /// Copies the files to a new folder, whose name becomes the name of the wallpaper. Throws a
    /// HostError when the name cannot be that of a wallpaper, when there is something of that name
    /// already, or when a file cannot be written; then there is no new folder.
    void copyTo(const std::string &folder) const;

    /// Limits of what a template may hold.
    static constexpr std::size_t kMaxFiles = 1000;
    static constexpr std::uint64_t kMaxFileBytes = std::uint64_t{16} << 20;

  private:
    struct File {
        /// From the template's folder.
        std::string path;
        std::string contents;
    };

    std::vector<File> _files;
};

} // namespace Lumivera
