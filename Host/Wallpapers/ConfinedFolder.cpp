#include "Host/Wallpapers/ConfinedFolder.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kAdvice = "check the folder, its permissions and the free space";
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::vector<std::string> partsOf(const std::string &name) {
    std::vector<std::string> parts(1);
    for (const char c : name) {
        if (c == '/') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

bool writeAll(int file, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(file, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return true;
}

bool isLink(int folder, const std::string &name) {
    struct stat status;
    return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISLNK(status.st_mode);
}

/// Writes beside the file's place and moves it there. False with errno set.
bool replaceFile(int folder, const std::string &name, std::span<const std::uint8_t> bytes) {
    const std::string temporary = "." + name + "." + std::to_string(getpid()) + ".part";
    const int file = openat(folder, temporary.c_str(),
                            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (file < 0) {
        return false;
    }
    const bool written = writeAll(file, bytes);
    int error = errno;
    const bool closed = close(file) == 0;
    if (written && closed && renameat(folder, temporary.c_str(), folder, name.c_str()) == 0) {
        return true;
    }
    error = written ? errno : error;
    unlinkat(folder, temporary.c_str(), 0);
    errno = error;
    return false;
}

} // namespace

ConfinedFolder::ConfinedFolder(const std::string &path) : _path(path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    _descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (_descriptor < 0) {
        throw HostError(path, "cannot be used as a folder: " + systemErrorText(),
                        "give another folder");
    }
}

ConfinedFolder::~ConfinedFolder() { close(_descriptor); }

bool ConfinedFolder::isInside(const std::string &name) {
    const auto isControl = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7f;
    };
    if (std::any_of(name.begin(), name.end(), isControl)) {
        return false;
    }
    const auto parts = partsOf(name);
    return std::none_of(parts.begin(), parts.end(), [](const std::string &part) {
        return part.empty() || part == "." || part == "..";
    });
}

void ConfinedFolder::writeFile(const std::string &name, std::span<const std::uint8_t> bytes) const {
    if (!isInside(name)) {
        throw HostError(_path, "\"" + name + "\" would leave the folder", "take the entry out");
    }
    const auto parts = partsOf(name);
    const int parent = openParent(parts);
    if (parent < 0) {
        fail(name);
    }
    if (isLink(parent, parts.back())) {
        close(parent);
        errno = ELOOP;
        fail(name);
    }
    const bool written = replaceFile(parent, parts.back(), bytes);
    const int error = errno;
    close(parent);
    errno = error;
    if (!written) {
        fail(name);
    }
}

/// The folder in which the file itself goes, a descriptor for the caller to close; -1 with errno.
int ConfinedFolder::openParent(const std::vector<std::string> &parts) const {
    int folder = dup(_descriptor);
    for (std::size_t i = 0; folder >= 0 && i + 1 < parts.size(); ++i) {
        mkdirat(folder, parts[i].c_str(), 0777);
        const int inner = openat(folder, parts[i].c_str(), kFolderFlags);
        const int error = errno;
        close(folder);
        errno = error;
        folder = inner;
    }
    return folder;
}

void ConfinedFolder::fail(const std::string &name) const {
    const std::string path = _path + "/" + name;
    if (errno == ELOOP) {
        throw HostError(path, "is a symbolic link or lies behind one",
                        "remove it or extract elsewhere");
    }
    throw HostError(path, "cannot be written: " + systemErrorText(), kAdvice);
}

} // namespace Lumivera
