#include "Host/Desktop/Backgrounds/StateFolder.h"

#include "Host/Support/HostError.h"

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
    makeOwnFolder(_path);
    const std::string path = pathOf("lock");
    const int lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (lock < 0) {
        throw HostError(path, "cannot be opened: " + systemErrorText(), "check the permissions");
    }
    if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
        close(lock);
        throw HostError(_path, "is in use by another lumivera desktop",
                        "the desktop's own wallpaper stays as that one has set it");
    }
    _lock = lock;
}

bool StateFolder::exists() const {
    std::error_code error;
    return fs::is_directory(_path, error);
}

} // namespace Lumivera
