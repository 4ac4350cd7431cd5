#include "Host/Wallpapers/BundleFolder.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr int kFolderFlags = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::string pathIn(const std::string &folder, const std::string &name) {
    return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

[[noreturn]] void failWithoutBundle(const std::string &path) {
    const bool isMissing = errno == ENOENT || errno == ENOTDIR;
    throw HostError(
        path, isMissing ? "there is no such bundle" : "cannot be read: " + systemErrorText(),
        isMissing ? "see `lumivera list` for those that are installed" : "check its permissions");
}

/// A new file may have the number of one that was removed, but not its time as well.
bool isSame(const struct stat &file, const struct stat &other) {
    return file.st_dev == other.st_dev && file.st_ino == other.st_ino &&
           file.st_mode == other.st_mode && file.st_uid == other.st_uid &&
           file.st_ctim.tv_sec == other.st_ctim.tv_sec &&
           file.st_ctim.tv_nsec == other.st_ctim.tv_nsec;
}

/// The path with the links of the folders above the last name resolved.
fs::path withoutLinksAbove(const std::string &given) {
    errno = ENOENT;
    if (given.empty()) {
        failWithoutBundle(given);
    }
    std::string text = given;
    while (text.size() > 1 && text.ends_with('/')) {
        text.pop_back();
    }
    const fs::path path(text);
    const std::string name = path.filename().string();
    std::error_code error;
    fs::path result;
    if (name.empty() || name == "." || name == "..") {
        result = fs::canonical(path, error);
    } else {
        const fs::path parent = path.parent_path();
        result = fs::canonical(parent.empty() ? "." : parent, error) / name;
    }
    if (error) {
        errno = error.value();
        failWithoutBundle(given);
    }
    return result;
}

} // namespace

struct BundleFolder::File {
    std::string name;
    struct stat status;
};

BundleFolder::BundleFolder(const std::string &path, Trust trust)
    : _trust(trust), _path(withoutLinksAbove(path).string()) {
    try {
        openFolder();
        examine({_descriptor, _path, 0});
    } catch (const HostError &) {
        close();
        throw;
    }
}

BundleFolder::~BundleFolder() { close(); }

BundleFolder::BundleFolder(BundleFolder &&other) noexcept
    : _trust(other._trust), _path(std::move(other._path)),
      _descriptor(std::exchange(other._descriptor, -1)), _files(std::move(other._files)),
      _entries(other._entries), _distrust(std::move(other._distrust)) {}

void BundleFolder::close() {
    if (_descriptor >= 0) {
        ::close(std::exchange(_descriptor, -1));
    }
}

void BundleFolder::openFolder() {
    const fs::path path(_path);
    const std::string name = path.has_filename() ? path.filename().string() : ".";
    const int parent = openParent(path.parent_path().string());
    struct stat status;
    const bool isThere = fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    const bool isFolder = isThere && S_ISDIR(status.st_mode);
    _descriptor = isFolder ? openat(parent, name.c_str(), O_RDONLY | kFolderFlags) : -1;
    const int error = errno;
    ::close(parent);
    errno = error;
    if (isThere && S_ISLNK(status.st_mode)) {
        throw HostError(_path, "is a link, not a bundle",
                        "name the folder that it leads to, or put a copy of that in its place");
    }
    if (isThere && !isFolder) {
        throw HostError(_path, "is a file, not a bundle",
                        "give the folder that holds description.plist, or make a bundle of a "
                        "photo with `lumivera new`");
    }
    if (_descriptor < 0 || fstat(_descriptor, &status) != 0) {
        failWithoutBundle(_path);
    }
    judge(status, _path, false);
}

/// Opens each folder from the root on through the one above it, so that none can be exchanged
/// between check and use.
int BundleFolder::openParent(const std::string &parent) {
    int folder = open("/", O_PATH | kFolderFlags);
    std::string path = "/";
    try {
        for (const fs::path &part : fs::path(parent).relative_path()) {
            struct stat status;
            if (folder < 0 || fstat(folder, &status) != 0) {
                failWithoutBundle(path);
            }
            judge(status, path, true);
            const int inner = openat(folder, part.c_str(), O_PATH | kFolderFlags);
            const int error = errno;
            ::close(std::exchange(folder, inner));
            errno = error;
            path = pathIn(path, part.string());
        }
        struct stat status;
        if (folder < 0 || fstat(folder, &status) != 0) {
            failWithoutBundle(path);
        }
        judge(status, path, true);
    } catch (const HostError &) {
        ::close(folder);
        throw;
    }
    return folder;
}

void BundleFolder::examine(const Place &place) {
    // A descriptor of its own, because closedir() closes it.
    const int descriptor = openat(place.descriptor, ".", O_RDONLY | kFolderFlags);
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(fdopendir(descriptor), closedir);
    if (!folder) {
        throw HostError(place.path, "cannot be read: " + systemErrorText(),
                        "check its permissions");
    }
    while (const dirent *entry = readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            examineEntry({dirfd(folder.get()), place.path, place.depth}, name);
        }
    }
}

void BundleFolder::examineEntry(const Place &place, const std::string &name) {
    const std::string path = pathIn(place.path, name);
    struct stat status;
    if (fstatat(place.descriptor, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        throw HostError(path, "cannot be examined: " + systemErrorText(), "check its permissions");
    }
    if (++_entries > kMaxEntries || place.depth > kMaxDepth) {
        throw HostError(_path, "holds more files or folders than a bundle may have",
                        "take out what is no part of the wallpaper");
    }
    const bool isOnTop = place.depth == 0;
    if (S_ISDIR(status.st_mode)) {
        const int inner = openat(place.descriptor, name.c_str(), O_RDONLY | kFolderFlags);
        if (inner < 0) {
            throw HostError(path, "cannot be read: " + systemErrorText(), "check its permissions");
        }
        const std::unique_ptr<const int, void (*)(const int *)> closed(
            &inner, [](const int *descriptor) { ::close(*descriptor); });
        examine({inner, path, place.depth + 1});
    } else if (S_ISREG(status.st_mode)) {
        if (isOnTop) {
            _files.push_back({name, status});
        }
    } else if (S_ISLNK(status.st_mode)) {
        if (!isOnTop || name != kOwnLibrary) {
            throw HostError(path, "is a link, which a bundle may not have",
                            "put a copy of the file in its place; `cp -rL` copies a bundle so");
        }
    } else {
        throw HostError(path, "is neither a file nor a folder", "remove it");
    }
}

/// The first reason counts. It is no failure before a library is to be loaded.
void BundleFolder::judge(const struct stat &status, const std::string &path, bool isAbove) {
    if (!_distrust) {
        _distrust = distrustOf(status, path, isAbove);
    }
}

std::optional<HostError> BundleFolder::distrustOf(const struct stat &status,
                                                  const std::string &path, bool isAbove) const {
    if (_trust == Trust::Anybody) {
        return std::nullopt;
    }
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
        return HostError(path, "belongs to another user, whose code is not run",
                         "copy the bundle to a folder of yours, or use --trust");
    }
    const bool isProtected = isAbove && (status.st_mode & S_ISVTX) != 0;
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !isProtected) {
        return HostError(path, "can be written by others, whose code is not run",
                         "take that right away with `chmod go-w`, or use --trust");
    }
    return std::nullopt;
}

const BundleFolder::File *BundleFolder::find(const std::string &name) const {
    const auto found = std::find_if(_files.begin(), _files.end(),
                                    [&name](const File &file) { return file.name == name; });
    return found == _files.end() ? nullptr : &*found;
}

bool BundleFolder::standsForOwnLibrary(const std::string &name) const {
    return name == kOwnLibrary && !hasFile(name);
}

int BundleFolder::openLibrary(const std::string &name) const {
    const std::string path = pathIn(_path, name);
    const File *known = find(name);
    if (!known) {
        throw HostError(path, "the library that the description names is missing",
                        "put it there or correct \"name Library\"");
    }
    if (const auto distrust = _distrust ? _distrust : distrustOf(known->status, path, false)) {
        throw HostError(*distrust);
    }
    const int file = openat(_descriptor, name.c_str(),
                            O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat status;
    if (file < 0 || fstat(file, &status) != 0) {
        throw HostError(path, "cannot be read: " + systemErrorText(), "check its permissions");
    }
    if (!isSame(status, known->status)) {
        ::close(file);
        throw HostError(path, "was exchanged just now", "try again");
    }
    return file;
}

} // namespace Lumivera
