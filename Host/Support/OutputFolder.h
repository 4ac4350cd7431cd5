#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace Lumivera {

/// A folder of files that appears whole or not at all: the files go into a new folder of a random
/// name beside it, which commit() renames. Every failure is a HostError that names the folder.
class OutputFolder {
  public:
    /// What happens to a folder of that name that is there already.
    enum class Existing { Refused, Replaced };

    OutputFolder(const std::string &path, Existing existing);

    /// Removes the new folder unless commit() was called.
    ~OutputFolder();

    OutputFolder(const OutputFolder &) = delete;
    OutputFolder &operator=(const OutputFolder &) = delete;

    void write(const std::string &name, std::span<const std::uint8_t> bytes) const;

    /// Gives the folder its name. What it replaces is removed.
    void commit();

    const std::string &path() const { return _path; }

    /// Where the files are until commit().
    std::string partPath() const;

    /// Removes the unfinished folders of all objects. For handlers of signals that end the process.
    static void removeUnfinished() noexcept;

  private:
    void makePart();
    void checkNothingIsThere() const;
    void exchange() const;
    void close();
    [[noreturn]] void fail() const;
    [[noreturn]] void failAsThere() const;

    const std::string _path;
    const Existing _existing;
    std::string _name;
    std::string _part;
    int _parent = -1;
    int _folder = -1;
    int _slot = -1;
};

} // namespace Lumivera
