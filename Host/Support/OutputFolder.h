#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace Lumivera {

/// A folder of files that appears whole or not at all: the files go into a new folder of a hidden
/// name beside it, which commit() renames. Every failure is a HostError that names the folder or
/// the file.
class OutputFolder {
  public:
    /// What happens when something of that name is there already. Kept differs from Refused only
    /// where the name is taken after the object was made: commit() then leaves what is there.
    enum class Existing { Refused, Kept, Replaced };

    /// Nobody but its owner may write an installed folder and what is in it, whatever the umask is,
    /// and all of it is on the disk before it gets its name.
    enum class Kind { Plain, Installed };

    /// Called with the bytes of the file that are written; an exception ends the writing.
    using Progress = std::function<void(std::uint64_t)>;

    OutputFolder(const std::string &path, Existing existing, Kind kind = Kind::Plain);

    /// Removes the new folder unless commit() was called.
    ~OutputFolder();

    OutputFolder(const OutputFolder &) = delete;
    OutputFolder &operator=(const OutputFolder &) = delete;

    /// Writes a new file. Slashes in its name are between folders, which are made; the name must
    /// not lead out of the folder.
    void write(const std::string &name, std::span<const std::uint8_t> bytes,
               const Progress &progress = {}) const;

    /// Gives the folder its name. What it replaces is removed after a call of `replaced`.
    void commit(const std::function<void()> &replaced = {});

    const std::string &path() const { return _path; }

    /// Where the files are until commit().
    std::string partPath() const;

    /// A hidden name for something in place of `name` that is not whole yet, or not any more.
    static std::string unfinishedNameFor(const std::string &name);

    /// Removes what killed processes have left unfinished in a folder, and nothing that others are
    /// writing now.
    static void removeAbandonedIn(const std::string &folder);

    /// Removes the unfinished folders of all objects. For handlers of signals that end the process.
    static void removeUnfinished() noexcept;

  private:
    enum class Outcome { Named, Exchanged, Left };

    void makePart();
    unsigned folderMode() const;
    unsigned fileMode() const;
    void checkNothingIsThere() const;
    void makeFoldersOf(const std::string &name) const;
    void store() const;
    Outcome giveName() const;
    bool move() const;
    bool exchange() const;
    bool exchangeInSteps() const;
    void close();
    [[noreturn]] void fail() const;
    [[noreturn]] void failToWrite(const std::string &name) const;
    [[noreturn]] void failAsThere() const;

    const std::string _path;
    const Existing _existing;
    const Kind _kind;
    std::string _name;
    std::string _part;
    int _parent = -1;
    int _folder = -1;
    int _slot = -1;
};

} // namespace Lumivera
