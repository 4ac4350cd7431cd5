#include "Host/Displays/SharedBuffers.h"

#include "Host/Support/HostError.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

/// Gives the memory its size. The kernel counts it as a file, but whoever limits the sizes of files
/// means those on a disk.
bool resize(int descriptor, std::size_t bytes) {
    rlimit usual{};
    const bool isKnown = getrlimit(RLIMIT_FSIZE, &usual) == 0;
    const rlimit raised{usual.rlim_max, usual.rlim_max};
    if (isKnown) {
        setrlimit(RLIMIT_FSIZE, &raised);
    }
    const bool hasSize = ftruncate(descriptor, static_cast<off_t>(bytes)) == 0;
    const int error = errno;
    if (isKnown) {
        setrlimit(RLIMIT_FSIZE, &usual);
    }
    errno = error;
    return hasSize;
}

} // namespace

/// Without the seals, the process that draws could shrink the memory, and reading it would crash
/// the processes that show it.
SharedBuffers::SharedBuffers(unsigned width, unsigned height, unsigned count)
    : _width(width), _height(height), _count(count),
      _descriptor(memfd_create("lumivera", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    if (_descriptor < 0 || !resize(_descriptor, bytes()) ||
        fcntl(_descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        fail("cannot be had");
    }
    map();
}

SharedBuffers::SharedBuffers(int descriptor, unsigned width, unsigned height, unsigned count)
    : _width(width), _height(height), _count(count), _descriptor(descriptor) {
    struct stat status;
    if (fstat(_descriptor, &status) != 0 || status.st_size < 0 ||
        static_cast<std::size_t>(status.st_size) != bytes()) {
        close(_descriptor);
        throw HostError("picture memory", "is not of the size that was announced");
    }
    map();
}

SharedBuffers::~SharedBuffers() {
    munmap(_mapped, bytes());
    close(_descriptor);
}

void SharedBuffers::fail(const char *what) const {
    const std::string reason = systemErrorText();
    close(_descriptor);
    throw HostError("picture memory", std::string(what) + ": " + reason,
                    "close other programs, or choose a smaller mode for the screen");
}

void SharedBuffers::map() {
    void *const mapped = mmap(nullptr, bytes(), PROT_READ | PROT_WRITE, MAP_SHARED, _descriptor, 0);
    if (mapped == MAP_FAILED) {
        fail("cannot be mapped");
    }
    _mapped = static_cast<std::uint32_t *>(mapped);
}

} // namespace Lumivera
