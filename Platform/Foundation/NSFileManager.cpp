#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

struct CloseFolder {
    void operator()(DIR *folder) const { closedir(folder); }
};

using Folder = std::unique_ptr<DIR, CloseFolder>;

/// Returns 0 or the system's error number.
int appendNames(DIR *folder, std::vector<std::string> &names) {
    for (;;) {
        // readdir returns null at the end and on failure; only a failure sets errno.
        errno = 0;
        const dirent *entry = readdir(folder);
        if (!entry) {
            return errno;
        }
        std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(std::move(name));
        }
    }
}

int listNames(const std::string &path, std::vector<std::string> &names) {
    if (path.find('\0') != std::string::npos) {
        return ENOENT;
    }
    const Folder folder(opendir(path.c_str()));
    return folder ? appendNames(folder.get(), names) : errno;
}

constexpr std::size_t kGrowth = 64 * 1024;

/// Reads to the end, even of a file that grew or shrank after it was opened.
std::optional<std::vector<std::uint8_t>> readToEnd(RegularFile &file, std::uint64_t maximumBytes) {
    // One byte more than the expected size lets the first read meet the end.
    std::vector<std::uint8_t> bytes(file.size() + 1);
    std::size_t filled = 0;
    for (;;) {
        const auto count = file.read(std::span(bytes).subspan(filled));
        if (!count || filled + *count > maximumBytes) {
            return std::nullopt;
        }
        filled += *count;
        if (filled < bytes.size()) {
            bytes.resize(filled);
            return bytes;
        }
        bytes.resize(filled + std::max(kGrowth, filled / 2));
    }
}

} // namespace

std::optional<std::vector<std::string>>
NSFileManager::contentsOfDirectoryAtPath_error(const std::string &path,
                                               std::string *errorDescription) {
    std::vector<std::string> names;
    if (const int error = listNames(path, names)) {
        if (errorDescription) {
            *errorDescription = path + ": " + std::generic_category().message(error);
        }
        return std::nullopt;
    }
    std::sort(names.begin(), names.end());
    return names;
}

RegularFile::RegularFile(const std::string &path) {
    // The type is checked before opening, because opening alone has effects on some devices, and
    // again afterwards, because another file may have taken the name in between.
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

std::optional<std::vector<std::uint8_t>> readFile(const std::string &path,
                                                  std::uint64_t maximumBytes) {
    RegularFile file(path);
    if (!file.isOpen() || file.size() > maximumBytes) {
        return std::nullopt;
    }
    try {
        return readToEnd(file, maximumBytes);
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
}
