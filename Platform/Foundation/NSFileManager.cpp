#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <memory>
#include <system_error>

namespace {

struct CloseFolder {
    void operator()(DIR *folder) const { closedir(folder); }
};

using Folder = std::unique_ptr<DIR, CloseFolder>;

/// 0, or the system's error.
int appendNames(DIR *folder, std::vector<std::string> &names) {
    for (;;) {
        // The end and a failure differ in errno alone.
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
