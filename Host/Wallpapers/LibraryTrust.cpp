#include "Host/Wallpapers/LibraryTrust.h"

#include "Host/Support/HostError.h"

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

void checkWriters(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        throw HostError(path, "cannot be looked at: " + systemErrorText(), "check its permissions");
    }
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
        throw HostError(path, "belongs to another user, whose code is not run behind the desktop",
                        "copy the bundle, or use --trust");
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw HostError(path, "can be written by others, whose code is not run behind the desktop",
                        "take that right away with `chmod go-w`, or use --trust");
    }
}

} // namespace

void checkLibraryTrust(const std::string &bundlePath, const std::string &libraryPath) {
    std::error_code error;
    const std::filesystem::path library = std::filesystem::canonical(libraryPath, error);
    if (error) {
        throw HostError(libraryPath, "cannot be looked at: " + error.message(),
                        "put the library there or correct \"name Library\"");
    }
    checkWriters(bundlePath);
    checkWriters(library.parent_path().string());
    checkWriters(library.string());
}

} // namespace Lumivera
