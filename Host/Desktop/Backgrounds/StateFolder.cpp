#include "Host/Desktop/Backgrounds/StateFolder.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Patience.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

/// Also for a folder from an earlier version of the path, which mkdir() leaves as it is.
void makeOwnFolder(const std::string &path) {
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        throw HostError(path, "cannot be made: " + systemErrorText(), "check the permissions");
    }
    struct stat status;
    if (lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
        status.st_uid != geteuid() || (status.st_mode & 022) != 0) {
        throw HostError(path, "is not a folder that only this user can write to", "remove it");
    }
}

/// The descriptor of the lock; -1 when another program has it.
int lockFolder(const std::string &path, const std::string &file) {
    makeOwnFolder(path);
    const int lock = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (lock < 0) {
        throw HostError(file, "cannot be opened: " + systemErrorText(), "check the permissions");
    }
    if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
        close(lock);
        return -1;
    }
    return lock;
}

} // namespace

StateFolder::~StateFolder() {
    if (_lock >= 0) {
        close(_lock);
    }
}

void StateFolder::take() {
    if (isTaken()) {
        return;
    }
    const auto lock = Patience::resultOf<int>(
        [path = _path, file = pathOf("lock")] { return lockFolder(path, file); });
    if (!lock) {
        throw HostError(_path, "its file system does not answer",
                        "the desktop's own wallpaper stays as it is");
    }
    if (*lock < 0) {
        throw HostError(_path, "is in use by another lumivera desktop",
                        "the desktop's own wallpaper stays as that one has set it");
    }
    _lock = *lock;
}

bool StateFolder::exists() const {
    return Patience::resultOf<bool>([path = _path] {
               std::error_code error;
               return fs::is_directory(path, error);
           })
        .value_or(false);
}

} // namespace Lumivera
