#include "Host/Desktop/Control/ControlPlace.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/Places.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr mode_t kOursAlone = 0700;
constexpr mode_t kOthers = 077;

/// Not a link, and of our user.
bool isOwnFolder(const std::string &path, struct stat &status) {
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid();
}

sockaddr_un addressOf(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw HostError(path, "is too long a name for a socket",
                        "set XDG_RUNTIME_DIR to a folder with a shorter name");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

} // namespace

std::string ControlPlace::standardFolder() {
    if (const auto folder = Places::runtimePath("lumivera")) {
        return *folder;
    }
    const std::string user = std::to_string(geteuid());
    struct stat status;
    const std::string ours = "/run/user/" + user;
    return isOwnFolder(ours, status) ? ours + "/lumivera" : "/tmp/lumivera-" + user;
}

void ControlPlace::makeFolder(const std::string &folder) {
    if (mkdir(folder.c_str(), kOursAlone) != 0 && errno != EEXIST) {
        throw HostError(folder, "cannot be made: " + systemErrorText(),
                        "set XDG_RUNTIME_DIR to a folder of yours");
    }
    struct stat status;
    if (!isOwnFolder(folder, status)) {
        throw HostError(folder, "is not a folder of yours",
                        "remove it, or set XDG_RUNTIME_DIR to a folder of yours");
    }
    if ((status.st_mode & kOthers) != 0 && chmod(folder.c_str(), kOursAlone) != 0) {
        throw HostError(folder, "is open to others: " + systemErrorText(), "remove it");
    }
}

bool ControlPlace::bindSocket(int descriptor, const std::string &path) {
    const sockaddr_un address = addressOf(path);
    return bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

bool ControlPlace::connectSocket(int descriptor, const std::string &path) {
    const sockaddr_un address = addressOf(path);
    return connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

bool ControlPlace::isOurFolder(const std::string &folder) {
    struct stat status;
    return isOwnFolder(folder, status) && (status.st_mode & kOthers) == 0;
}

} // namespace Lumivera
