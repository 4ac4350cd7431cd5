#pragma once

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

/// A mounted file system that never answers, as one on a server that is gone. Whoever looks into it
/// waits until this object is destroyed or the process is killed.
class DeadFileSystem {
  public:
    /// Mounts it on a folder that exists.
    explicit DeadFileSystem(std::string folder)
        : _folder(std::move(folder)), _device(open("/dev/fuse", O_RDWR | O_CLOEXEC)) {
        const std::string options =
            "fd=" + std::to_string(_device) + ",rootmode=40000,user_id=0,group_id=0";
        _isMounted = _device >= 0 && mount("dead", _folder.c_str(), "fuse", MS_NOSUID | MS_NODEV,
                                           options.c_str()) == 0;
        _problem = _isMounted ? "" : std::string("needs FUSE: ") + std::strerror(errno);
    }

    /// Closing the device ends all waits.
    ~DeadFileSystem() {
        if (_device >= 0) {
            close(_device);
        }
        if (_isMounted) {
            umount2(_folder.c_str(), MNT_DETACH);
        }
    }

    DeadFileSystem(const DeadFileSystem &) = delete;
    DeadFileSystem &operator=(const DeadFileSystem &) = delete;

    /// Why there is none on this machine; empty when there is.
    const std::string &problem() const { return _problem; }

    std::string pathOf(const std::string &name) const { return _folder + "/" + name; }

  private:
    const std::string _folder;
    const int _device;
    bool _isMounted = false;
    std::string _problem;
};
