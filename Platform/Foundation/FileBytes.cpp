#include "Platform/Foundation/FileBytes.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t kGrowth = 64 * 1024;

class Descriptor {
  public:
    explicit Descriptor(int number) : _number(number) {}
    ~Descriptor() {
        if (_number >= 0) {
            close(_number);
        }
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int number() const { return _number; }

  private:
    const int _number;
};

bool isRegularFile(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// The file's size, or -1 when the descriptor is not that of a regular file.
off_t regularFileSize(int descriptor) {
    struct stat status;
    const bool isRegular = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    return isRegular ? status.st_size : -1;
}

ssize_t readSome(int descriptor, std::uint8_t *target, std::size_t size) {
    ssize_t count;
    do {
        count = read(descriptor, target, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

/// Reads to the end, whatever size the file had when it was opened: another program may be writing
/// it, and files of the kernel say 0.
std::optional<std::vector<std::uint8_t>> readToEnd(int descriptor, std::size_t expectedSize,
                                                   std::uint64_t maximumBytes) {
    // One byte more than expected, so that the read that meets the end needs no growth.
    std::vector<std::uint8_t> bytes(expectedSize + 1);
    std::size_t filled = 0;
    for (;;) {
        const ssize_t count = readSome(descriptor, bytes.data() + filled, bytes.size() - filled);
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            bytes.resize(filled);
            return bytes;
        }
        filled += static_cast<std::size_t>(count);
        if (filled > maximumBytes) {
            return std::nullopt;
        }
        if (filled == bytes.size()) {
            bytes.resize(filled + std::max(kGrowth, filled / 2));
        }
    }
}

} // namespace

std::optional<std::vector<std::uint8_t>> readFile(const std::string &path,
                                                  std::uint64_t maximumBytes) {
    // Looked at before it is opened, since opening alone has effects on some devices, and again
    // after that, since the name may have changed hands in between.
    if (path.find('\0') != std::string::npos || !isRegularFile(path)) {
        return std::nullopt;
    }
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.number() < 0) {
        return std::nullopt;
    }
    const off_t size = regularFileSize(file.number());
    if (size < 0 || static_cast<std::uint64_t>(size) > maximumBytes) {
        return std::nullopt;
    }
    return readToEnd(file.number(), static_cast<std::size_t>(size), maximumBytes);
}
