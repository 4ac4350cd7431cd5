#pragma once

#include "Animation/Common/NSData+DataEncrypt.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Lumivera {

/// The entries of a resource pack, with their values as the file stores them.
struct ResourcePack {
    /// In the order of the file. When a name occurs twice, readers use the last one.
    std::vector<DataEncrypt::Pack::Entry> entries;

    /// Says in one line where the file is damaged and which entries are hidden by a later one of
    /// the same name; empty when it is in order. `entries` are those before the damage.
    std::string problem;

    /// Throws a HostError when the file cannot be read.
    static ResourcePack read(const std::string &path);

    /// The size of the value without its first byte, which says how it is stored.
    static std::size_t payloadSize(const DataEncrypt::Pack::Entry &entry);

    /// Writes the file whole or not at all. A HostError when it cannot be written, a value is too
    /// large, or a key has a problem.
    static void write(const DataEncrypt::Datas &entries, const std::string &path);

    /// Why a pack cannot hold the key; empty when it can.
    static std::string problemOfKey(const std::string &key);
};

/// A folder to extract files into whose names are not trusted: no name leads out of it or through a
/// symbolic link.
class ConfinedFolder {
  public:
    /// Creates the folder when it is missing. A HostError when that fails.
    explicit ConfinedFolder(const std::string &path);
    ~ConfinedFolder();

    ConfinedFolder(const ConfinedFolder &) = delete;
    ConfinedFolder &operator=(const ConfinedFolder &) = delete;

    /// Writes the file whole or not at all, replacing one of that name, and creates the folders in
    /// the name. A HostError when it cannot be written or a part of the name is a link.
    void writeFile(const std::string &name, std::span<const std::uint8_t> bytes) const;

    /// Why no file of that name can be written: it is not relative, has ".", "..", empty parts or
    /// control characters, or would make too many folders. Empty when it can.
    static std::string problemOfName(const std::string &name);

    /// The folders that a name may have within one another.
    static constexpr std::size_t kMaxFolders = 16;

  private:
    int openParent(const std::vector<std::string> &parts) const;
    [[noreturn]] void fail(const std::string &name) const;

    const std::string _path;
    int _descriptor = -1;
};

} // namespace Lumivera
