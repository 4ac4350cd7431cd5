#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

/// A file in memory, for tests that read many files.
class MemoryFile {
  public:
    explicit MemoryFile(std::string_view contents)
        : _descriptor(memfd_create("test", MFD_CLOEXEC)) {
        const auto size = static_cast<ssize_t>(contents.size());
        if (write(_descriptor, contents.data(), contents.size()) != size) {
            throw std::runtime_error("no file in memory");
        }
    }

    ~MemoryFile() { close(_descriptor); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(_descriptor); }

  private:
    const int _descriptor;
};
