#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Lumivera {

/// A folder into which files with names from elsewhere are written, and nowhere else: no name
/// leads out of it, nor through a symbolic link.
class ConfinedFolder {
  public:
    /// Makes the folder when it is missing. A HostError when that fails.
    explicit ConfinedFolder(const std::string &path);
    ~ConfinedFolder();

    ConfinedFolder(const ConfinedFolder &) = delete;
    ConfinedFolder &operator=(const ConfinedFolder &) = delete;

    /// Writes the file whole or not at all, over a file of that name; makes the folders that the
    /// name asks for. A HostError when it cannot be written or is a link.
    void writeFile(const std::string &name, std::span<const std::uint8_t> bytes) const;

    /// True for names of files inside: relative, without "." and "..", empty parts and control
    /// characters.
    static bool isInside(const std::string &name);

  private:
    int openParent(const std::vector<std::string> &parts) const;
    [[noreturn]] void fail(const std::string &name) const;

    const std::string _path;
    int _descriptor = -1;
};

} // namespace Lumivera
