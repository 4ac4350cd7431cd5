#include "Platform/Foundation/RegularFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

RegularFile::RegularFile(const std::string &path) {
    // Looked at before it is opened, since opening alone has effects on some devices, and again
    // after that, since the name may have changed hands in between.
    struct stat status;
    if (path.find('\0') != std::string::npos || stat(path.c_str(), &status) != 0 ||
        !S_ISREG(status.st_mode)) {
        return;
    }
    _descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (_descriptor >= 0 && (fstat(_descriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
        close(_descriptor);
        _descriptor = -1;
    }
    _size = isOpen() ? static_cast<std::uint64_t>(status.st_size) : 0;
}

RegularFile::~RegularFile() {
    if (isOpen()) {
        close(_descriptor);
    }
}

std::optional<std::size_t> RegularFile::read(std::span<std::uint8_t> target) {
    std::size_t filled = 0;
    while (filled < target.size()) {
        const ssize_t count = ::read(_descriptor, target.data() + filled, target.size() - filled);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            filled += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
    return filled;
}
