#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// Lists folders. Any thread.
class PLATFORM_EXPORT NSFileManager {
  public:
    NSFileManager() = delete;

    /// The names in a folder, without "." and ".." and without those in its subfolders, sorted by
    /// their bytes. Nothing when the folder cannot be listed; `errorDescription`, unless null, is
    /// then set to one line that names the path and says why.
    static std::optional<std::vector<std::string>>
    contentsOfDirectoryAtPath_error(const std::string &path, std::string *errorDescription);
};

/// A regular file, open for reading; links are followed. Folders, pipes and devices are not opened,
/// so that no call waits for them. One thread at a time.
class PLATFORM_EXPORT RegularFile {
  public:
    /// Not open when the file is missing, unreadable or no regular file.
    explicit RegularFile(const std::string &path);
    ~RegularFile();
    RegularFile(const RegularFile &) = delete;
    RegularFile &operator=(const RegularFile &) = delete;

    bool isOpen() const noexcept { return _descriptor >= 0; }

    /// The size in bytes when the file was opened. The file may hold more or fewer: another program
    /// may be writing it, and files of the kernel report 0.
    std::uint64_t size() const noexcept { return _size; }

    /// Fills `target` with the next bytes and returns their number, which is smaller at the file's
    /// end. Nothing when reading fails.
    std::optional<std::size_t> read(std::span<std::uint8_t> target);

  private:
    int _descriptor = -1;
    std::uint64_t _size = 0;
};

/// The contents of a regular file. Nothing when it cannot be opened or read, or is larger than
/// `maximumBytes` or than the memory that is free. Any thread.
PLATFORM_EXPORT std::optional<std::vector<std::uint8_t>> readFile(const std::string &path,
                                                                  std::uint64_t maximumBytes);
