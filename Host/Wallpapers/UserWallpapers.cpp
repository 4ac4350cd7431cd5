#include "Host/Wallpapers/UserWallpapers.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleFolder.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

/// In an installed bundle, with the name under which it was installed.
constexpr const char *kMark = ".lumivera-installed";

/// The end of the names of folders that are not whole yet, or not any more.
constexpr const char *kUnfinished = ".unfinished";

constexpr const char *kSpaceAdvice = "check its permissions and the free space";

// Whatever the umask is: others must not write what runs with the user's rights.
constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileMode = 0644;

constexpr std::size_t kPortion = std::size_t{1} << 20;
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

[[noreturn]] void failToWrite(const std::string &path) {
    throw HostError(path, "cannot be written: " + systemErrorText(), kSpaceAdvice);
}

bool isThere(const std::string &path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

/// A descriptor that is closed with its object.
class Opened {
  public:
    explicit Opened(int descriptor) : _descriptor(descriptor) {}
    ~Opened() {
        if (_descriptor >= 0) {
            ::close(_descriptor);
        }
    }
    Opened(const Opened &) = delete;
    Opened &operator=(const Opened &) = delete;

    int get() const { return _descriptor; }

    /// False when what was written did not reach the disk. Some file systems cannot tell.
    bool close() {
        const bool isStored = fsync(_descriptor) == 0 || errno == EINVAL;
        return ::close(std::exchange(_descriptor, -1)) == 0 && isStored;
    }

  private:
    int _descriptor;
};

std::string randomDigits() {
    std::random_device random;
    char digits[32];
    std::snprintf(digits, sizeof digits, "%08x%08x", random(), random());
    return digits;
}

/// Gives a folder another path, where nothing or an empty folder is.
bool move(const std::string &from, const std::string &to) {
    return rename(from.c_str(), to.c_str()) == 0;
}

/// Exchanges two folders in one step; in three on file systems that cannot do that, such as NFS.
bool exchange(const std::string &first, const std::string &second) {
    if (renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(), RENAME_EXCHANGE) == 0) {
        return true;
    }
    const std::string between = first + kUnfinished;
    if (errno != EINVAL || !move(second, between)) {
        return false;
    }
    if (!move(first, second)) {
        const int error = errno;
        move(between, second);
        errno = error;
        return false;
    }
    return move(between, first);
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
        if (_file.get() < 0) {
            throw HostError(folder, "cannot be opened: " + systemErrorText(),
                            "check its permissions");
        }
        if (flock(_file.get(), LOCK_EX | LOCK_NB) != 0) {
            throw HostError(folder, "another program installs into it just now", "try again");
        }
    }

    int descriptor() const { return _file.get(); }

  private:
    const Opened _file;
};

/// A bundle that is being written, or removed, under a hidden name.
class UserWallpapers::NewFolder {
  public:
    NewFolder(const std::string &folder, const std::string &bundle)
        : _path(folder + "/." + bundle + "." + randomDigits() + kUnfinished) {
        if (mkdir(_path.c_str(), kFolderMode) != 0) {
            failToWrite(folder);
        }
    }

    ~NewFolder() {
        std::error_code ignored;
        fs::remove_all(_path, ignored);
    }

    NewFolder(const NewFolder &) = delete;
    NewFolder &operator=(const NewFolder &) = delete;

    const std::string &path() const { return _path; }

    void write(const BundleContents &bundle, const Progress &progress) {
        for (const BundleContents::File &file : bundle.files()) {
            makeFoldersOf(file.path);
            writeFile(file.path, file.bytes, progress);
        }
        const std::string name = bundle.name();
        writeFile(kMark, {name.begin(), name.end()}, progress);
        for (const std::string &folder : _folders) {
            store(folder);
        }
        store("");
    }

  private:
    void makeFoldersOf(const std::string &path) {
        for (std::size_t at = path.find('/'); at != std::string::npos;
             at = path.find('/', at + 1)) {
            const std::string folder = path.substr(0, at);
            const std::string whole = _path + "/" + folder;
            if (_folders.insert(folder).second && mkdir(whole.c_str(), kFolderMode) != 0) {
                failToWrite(whole);
            }
        }
    }

    void writeFile(const std::string &path, const std::vector<std::uint8_t> &bytes,
                   const Progress &progress) {
        const std::string whole = _path + "/" + path;
        Opened file(
            open(whole.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode));
        for (std::size_t done = 0; file.get() >= 0 && done < bytes.size();) {
            progress(_written + done);
            const ssize_t count =
                ::write(file.get(), bytes.data() + done, std::min(kPortion, bytes.size() - done));
            if (count < 0 && errno != EINTR) {
                failToWrite(whole);
            }
            done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
        if (file.get() < 0 || !file.close()) {
            failToWrite(whole);
        }
        _written += bytes.size();
        progress(_written);
    }

    void store(const std::string &folder) const {
        const std::string whole = _path + "/" + folder;
        Opened opened(open(whole.c_str(), kFolderFlags));
        if (opened.get() < 0 || !opened.close()) {
            failToWrite(whole);
        }
    }

    const std::string _path;
    std::set<std::string> _folders;
    std::uint64_t _written = 0;
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
    make();
    const Lock lock(_folder);
    removeUnfinished();
    const bool isReplaced = hasInstalled(bundle.name());
    NewFolder folder(_folder, bundle.name());
    folder.write(bundle, progress);
    static_cast<void>(BundleFolder(folder.path(), BundleFolder::Trust::UserAndRoot));
    const std::string path = pathOf(bundle.name());
    if (!(isReplaced ? exchange(folder.path(), path) : move(folder.path(), path))) {
        failToWrite(path);
    }
    fsync(lock.descriptor());
    if (isReplaced) {
        replaced();
    }
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
    const NewFolder folder(_folder, bundle);
    if (!move(pathOf(bundle), folder.path())) {
        throw HostError(pathOf(bundle), "cannot be removed: " + systemErrorText(),
                        "check the permissions of the folder above");
    }
    fsync(lock.descriptor());
    removeFolder(folder.path());
}

/// Makes the folder and those above that are missing.
void UserWallpapers::make() const {
    std::string path;
    for (const fs::path &part : fs::path(_folder)) {
        path = (fs::path(path) / part).string();
        if (mkdir(path.c_str(), kFolderMode) != 0 && errno != EEXIST && !isThere(path)) {
            throw HostError(path, "cannot be made: " + systemErrorText(), kSpaceAdvice);
        }
    }
}

/// Removes what installations have left that were killed. Only called with the lock.
void UserWallpapers::removeUnfinished() const {
    const auto names = NSFileManager::contentsOfDirectoryAtPath_error(_folder, nullptr);
    for (const std::string &name : names.value_or(std::vector<std::string>())) {
        if (name.starts_with('.') && name.ends_with(kUnfinished)) {
            std::error_code ignored;
            fs::remove_all(_folder + "/" + name, ignored);
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
