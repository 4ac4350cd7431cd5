#include "Platform/Foundation/NSBundle.h"

#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace {

/// The type of the file at a path, as in S_IFMT; 0 when there is none.
mode_t kindOfFile(const std::string &path) {
    struct stat status;
    const bool isThere = path.find('\0') == std::string::npos && stat(path.c_str(), &status) == 0;
    return isThere ? status.st_mode & S_IFMT : 0;
}

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    return path;
}

std::string folderOfProgram() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "." : program.parent_path().string();
}

} // namespace

NSBundle::NSBundle(std::string path) : _path(std::move(path)) {}

NSBundle::~NSBundle() = default;

Retained<NSBundle> NSBundle::bundleWithPath(const std::string &path) {
    if (kindOfFile(path) != S_IFDIR) {
        return nullptr;
    }
    return Retained<NSBundle>::adopt(new NSBundle(withoutTrailingSlashes(path)));
}

Retained<NSBundle> NSBundle::mainBundle() {
    static NSBundle *const bundle = new NSBundle(folderOfProgram());
    return Retained<NSBundle>(bundle);
}

std::optional<std::string> NSBundle::pathForResource_ofType(std::string_view name,
                                                            std::string_view type) const {
    std::string path = _path + "/" + std::string(name);
    if (!type.empty()) {
        path.append(".").append(type);
    }
    return kindOfFile(path) == S_IFREG ? std::optional(std::move(path)) : std::nullopt;
}
