#include "Host/Wallpapers/BundleSounds.h"

#include <climits>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Lumivera {

namespace {

/// A descriptor of the file below the folder; negative when there is none.
int openBelow(int folder, const std::string &name) {
    open_how how{};
    how.flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    return static_cast<int>(syscall(SYS_openat2, folder, name.c_str(), &how, sizeof how));
}

} // namespace

BundleSounds::~BundleSounds() {
    for (const auto &[name, sound] : _sounds) {
        AudioServicesDisposeSystemSoundID(sound);
    }
}

void BundleSounds::play(const std::string &name) { AudioServicesPlaySystemSound(soundNamed(name)); }

/// Also remembers names that are no sounds, as 0.
SystemSoundID BundleSounds::soundNamed(const std::string &name) {
    const auto known = _sounds.find(name);
    if (known != _sounds.end()) {
        return known->second;
    }
    if (_sounds.size() == kMaxSounds || name.size() >= PATH_MAX) {
        return 0;
    }
    return _sounds[name] = read(name);
}

SystemSoundID BundleSounds::read(const std::string &name) {
    const int file = openBelow(_folder.descriptor(), name);
    struct stat status;
    SystemSoundID sound = 0;
    if (file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
        static_cast<std::size_t>(status.st_size) <= kMaxBytes - _bytes) {
        _bytes += static_cast<std::size_t>(status.st_size);
        const std::string path = "/proc/self/fd/" + std::to_string(file);
        AudioServicesCreateSystemSoundID(NSURL::fileURLWithPath(path).get(), &sound);
    }
    close(file);
    return sound;
}

} // namespace Lumivera
