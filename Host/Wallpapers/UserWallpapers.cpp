#include "Host/Wallpapers/UserWallpapers.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleFolder.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/Foundation/NSFileManager.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

/// In an installed bundle, with the name under which it was installed.
constexpr const char *kMark = ".lumivera-installed";

constexpr const char *kSpaceAdvice = "check its permissions and the free space";

// Whatever the umask is: others must not write what runs with the user's rights.
constexpr mode_t kFolderMode = 0755;

bool isThere(const std::string &path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

void writeMark(const OutputFolder &folder, const std::string &name) {
    folder.write(kMark, {reinterpret_cast<const std::uint8_t *>(name.data()), name.size()});
}

/// A bundle that the desktop would refuse to run is not installed either.
void checkTrust(const OutputFolder &folder) {
    const BundleFolder bundle(folder.partPath(), BundleFolder::Trust::UserAndRoot);
    if (bundle.distrust() && !BundleListing::read(folder.partPath()).library.empty()) {
        throw HostError(*bundle.distrust());
    }
}

void removeFolder(const std::string &path) {
    std::error_code error;
    fs::remove_all(path, error);
    if (error) {
        throw HostError(path, "cannot be removed: " + error.message(), "remove it yourself");
    }
}

} // namespace

/// Held while the folder is changed.
class UserWallpapers::Lock {
  public:
    explicit Lock(const std::string &folder)
        : _file(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (_file < 0) {
            throw HostError(folder, "cannot be opened: " + systemErrorText(),
                            "check its permissions");
        }
        if (flock(_file, LOCK_EX | LOCK_NB) != 0) {
            close(_file);
            throw HostError(folder, "another program installs into it just now", "try again");
        }
    }

    ~Lock() { close(_file); }

    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

    int descriptor() const { return _file; }

  private:
    const int _file;
};

bool UserWallpapers::hasInstalled(const std::string &bundle) const {
    for (const std::string &folder : Places::wallpaperFolders()) {
        if (folder == fs::path(_folder).lexically_normal().string()) {
            break;
        }
        if (isThere(folder + "/" + bundle)) {
            throw HostError(folder + "/" + bundle, "has that name, too, and would be shown instead",
                            "install it under another name with --as NAME");
        }
    }
    if (!isThere(pathOf(bundle))) {
        return false;
    }
    if (!wasInstalled(bundle)) {
        throw HostError(pathOf(bundle), "is there already, and was not installed",
                        "move it away, or install under another name with --as NAME");
    }
    return true;
}

void UserWallpapers::install(const BundleContents &bundle, const Progress &progress,
                             const std::function<void()> &replaced) const {
    using Existing = OutputFolder::Existing;
    makeFolder();
    const Lock lock(_folder);
    OutputFolder::removeAbandonedIn(_folder);
    const std::string &name = bundle.name();
    OutputFolder folder(pathOf(name), hasInstalled(name) ? Existing::Replaced : Existing::Refused,
                        OutputFolder::Kind::Installed);
    std::uint64_t written = 0;
    for (const BundleContents::File &file : bundle.files()) {
        folder.write(file.path, file.bytes,
                     [&](std::uint64_t bytes) { progress(written + bytes); });
        written += file.bytes.size();
    }
    writeMark(folder, name);
    checkTrust(folder);
    folder.commit(replaced);
}

void UserWallpapers::make(const std::string &bundle,
                          const std::function<void(OutputFolder &)> &make) const {
    using Existing = OutputFolder::Existing;
    makeFolder();
    const std::string path = pathOf(bundle);
    OutputFolder folder(path, isThere(path) ? Existing::Replaced : Existing::Kept,
                        OutputFolder::Kind::Installed);
    writeMark(folder, bundle);
    make(folder);
}

std::string UserWallpapers::find(const std::string &argument) const {
    std::vector<std::string> found;
    if (argument.find('/') != std::string::npos) {
        const fs::path path(argument.substr(0, argument.find_last_not_of('/') + 1));
        std::error_code error;
        if (fs::equivalent(path.parent_path(), _folder, error) && !error) {
            found.push_back(path.filename().string());
        }
    } else if (isThere(pathOf(argument))) {
        found.push_back(argument);
    } else if (isThere(pathOf(argument + BundleContents::kEnding))) {
        found.push_back(argument + BundleContents::kEnding);
    } else {
        for (const BundleListing &listing :
             BundleListing::readFolder(_folder).value_or(std::vector<BundleListing>())) {
            if (listing.name == argument) {
                found.push_back(fs::path(listing.path).filename().string());
            }
        }
    }
    if (found.size() > 1) {
        throw HostError(argument, "is the name of several bundles",
                        "say which: " + found[0] + " or " + found[1]);
    }
    if (found.empty() || !BundleContents::problemOfName(found.front()).empty() ||
        !isThere(pathOf(found.front()))) {
        throw HostError(argument, "is no installed bundle in " + _folder,
                        "see `lumivera list` for those that are there");
    }
    return found.front();
}

void UserWallpapers::uninstall(const std::string &bundle) const {
    const Lock lock(_folder);
    if (!wasInstalled(bundle)) {
        throw HostError(pathOf(bundle), "was not installed by `lumivera install`",
                        "remove it yourself, if it may go");
    }
    const std::string removed = pathOf(OutputFolder::unfinishedNameFor(bundle));
    if (rename(pathOf(bundle).c_str(), removed.c_str()) != 0) {
        throw HostError(pathOf(bundle), "cannot be removed: " + systemErrorText(),
                        "check the permissions of the folder above");
    }
    fsync(lock.descriptor());
    removeFolder(removed);
}

/// Makes the folder and those above that are missing.
void UserWallpapers::makeFolder() const {
    std::string path;
    for (const fs::path &part : fs::path(_folder)) {
        path = (fs::path(path) / part).string();
        if (mkdir(path.c_str(), kFolderMode) != 0 && errno != EEXIST && !isThere(path)) {
            throw HostError(path, "cannot be made: " + systemErrorText(), kSpaceAdvice);
        }
    }
}

bool UserWallpapers::wasInstalled(const std::string &bundle) const {
    struct stat status;
    if (lstat(pathOf(bundle).c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
        status.st_uid != geteuid()) {
        return false;
    }
    const auto bytes = readFile(pathOf(bundle) + "/" + kMark, NAME_MAX);
    return bytes && std::string(bytes->begin(), bytes->end()) == bundle;
}

} // namespace Lumivera
