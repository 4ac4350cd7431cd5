#pragma once

#include "Platform/Foundation/PlatformExport.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// A regular file, open for reading; links are followed. Folders, pipes and devices are none, and
/// are not waited for. One thread at a time.
class PLATFORM_EXPORT RegularFile {
  public:
    /// Not open when the file is missing, unreadable or no regular file.
    explicit RegularFile(const std::string &path);
    ~RegularFile();
    RegularFile(const RegularFile &) = delete;
    RegularFile &operator=(const RegularFile &) = delete;

    bool isOpen() const noexcept { return _descriptor >= 0; }

    /// In bytes, when it was opened: another program may be writing it, and files of the kernel
    /// say 0.
    std::uint64_t size() const noexcept { return _size; }

    /// Fills `target` with the next bytes and says how many there were: fewer at the file's end.
    /// Nothing when reading fails.
    std::optional<std::size_t> read(std::span<std::uint8_t> target);

  private:
    int _descriptor = -1;
    std::uint64_t _size = 0;
};
