#include "Host/Support/OutputFile.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

constexpr const char *kAdvice = "check the folder, its permissions and the free space";
constexpr const char *kNeedsName = "give a file name";

constexpr std::size_t kBufferBytes = std::size_t{64} * 1024;
constexpr int kPatience = 60'000; // milliseconds
constexpr int kMaxLinks = 40;
constexpr int kMaxAttempts = 16;

/// Longer names would leave no room for what is added to them.
constexpr std::size_t kMaxNameInPart = 200;

constexpr mode_t kNewFile = 0666;
constexpr mode_t kOursAlone = 0600;
constexpr mode_t kPermissions = 0777;
constexpr mode_t kGroupPermissions = 070;

/// A file to remove when a signal ends the process.
struct Slot {
    enum State { Free, Claimed, InUse };
    std::atomic<int> state = Free;
    int folder = -1;
    std::array<char, NAME_MAX + 1> name{};
};

/// Files beyond this number stay behind when a signal ends the process.
std::array<Slot, 32> slots;

int claimSlot(int folder, const std::string &name) {
    for (std::size_t i = 0; i < slots.size() && name.size() <= NAME_MAX; ++i) {
        int free = Slot::Free;
        if (slots[i].state.compare_exchange_strong(free, Slot::Claimed)) {
            slots[i].folder = folder;
            std::memcpy(slots[i].name.data(), name.c_str(), name.size() + 1);
            slots[i].state = Slot::InUse;
            return static_cast<int>(i);
        }
    }
    return -1;
}

void freeSlot(int slot) {
    if (slot >= 0) {
        slots[static_cast<std::size_t>(slot)].state = Slot::Free;
    }
}

std::string partNameFor(const std::string &name) {
    std::uint64_t number = 0;
    if (getrandom(&number, sizeof number, 0) != sizeof number) {
        throw HostError(name, "cannot be written: " + systemErrorText());
    }
    char digits[32];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(number));
    return "." + name.substr(0, kMaxNameInPart) + "." + digits + ".part";
}

bool isOursOrOfRoot(uid_t owner) { return owner == 0 || owner == geteuid(); }

} // namespace

OutputFile::OutputFile(std::string path, Mode mode) : _path(std::move(path)) {
    struct stat status;
    const bool isThere = stat(_path.c_str(), &status) == 0;
    if (_path.empty() || _path.ends_with('/') || (isThere && S_ISDIR(status.st_mode))) {
        throw HostError(_path, "is a folder", kNeedsName);
    }
    if (isThere && !S_ISREG(status.st_mode)) {
        _isSpecial = S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode);
        if (!_isSpecial || mode == Mode::RegularFile) {
            throw HostError(_path, "is no regular file", "give another file name");
        }
        openSpecial();
        return;
    }
    try {
        findTarget();
        examineTarget();
        mode == Mode::InPlace ? openTarget() : openPart();
    } catch (const HostError &) {
        close();
        throw;
    }
}

OutputFile::OutputFile(int folder, std::string name, std::string path)
    : _path(std::move(path)), _folder(fcntl(folder, F_DUPFD_CLOEXEC, 0)), _name(std::move(name)) {
    try {
        examineTarget();
        openPart();
    } catch (const HostError &) {
        close();
        throw;
    }
}

OutputFile::~OutputFile() {
    removePart();
    close();
}

/// Does not wait for a reader of a pipe; the file that was looked at may have been replaced.
void OutputFile::openSpecial() {
    _file = open(_path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (_file < 0 && errno == ENXIO) {
        throw HostError(_path, "cannot be written: nobody reads from it", "start its reader first");
    }
    struct stat status;
    if (_file < 0 || fstat(_file, &status) != 0) {
        fail();
    }
    if (!S_ISFIFO(status.st_mode) && !S_ISCHR(status.st_mode)) {
        close();
        throw HostError(_path, "has become another file", "try again");
    }
}

/// Opens the folder of the file that the path leads to.
void OutputFile::findTarget() {
    _folder = AT_FDCWD;
    std::string rest = _path;
    for (int links = 0; links <= kMaxLinks; ++links) {
        const std::filesystem::path path(rest);
        const std::string parent = path.parent_path().empty() ? "." : path.parent_path().string();
        const int inner = openat(_folder, parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (_folder >= 0) {
            ::close(_folder);
        }
        _folder = inner;
        _name = path.filename().string();
        if (_folder < 0) {
            fail();
        }
        struct stat status;
        const bool isThere = fstatat(_folder, _name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
        if (!isThere || !S_ISLNK(status.st_mode)) {
            return;
        }
        if (!isOursOrOfRoot(status.st_uid)) {
            throw HostError(_path,
                            "is a link of another user, who may lead it to any file of yours",
                            "give the name of the file itself");
        }
        std::array<char, PATH_MAX> text;
        const ssize_t size = readlinkat(_folder, _name.c_str(), text.data(), text.size());
        if (size <= 0) {
            fail();
        }
        rest.assign(text.data(), static_cast<std::size_t>(size));
    }
    errno = ELOOP;
    fail();
}

/// Remembers what is replaced, and refuses a file that its owner has protected from being written.
/// The file's mode decides, because the superuser may write every file.
void OutputFile::examineTarget() {
    struct stat status;
    if (fstatat(_folder, _name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno != ENOENT) {
            fail();
        }
        return;
    }
    if (!S_ISREG(status.st_mode)) {
        return;
    }
    if ((status.st_mode & S_IWUSR) == 0 ||
        faccessat(_folder, _name.c_str(), W_OK, AT_EACCESS) != 0) {
        throw HostError(_path, "is protected from being written",
                        "make it writable with `chmod u+w`, or give another name");
    }
    _mode = status.st_mode & kPermissions;
    _owner = status.st_uid;
    _group = status.st_gid;
}

void OutputFile::openTarget() {
    _file = openat(_folder, _name.c_str(),
                   O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kNewFile);
    struct stat status;
    if (_file < 0 || fstat(_file, &status) != 0) {
        fail();
    }
    if (!S_ISREG(status.st_mode)) {
        throw HostError(_path, "has become another file", "try again");
    }
    if (ftruncate(_file, 0) != 0) {
        fail();
    }
}

void OutputFile::openPart() {
    for (int attempt = 0; attempt < kMaxAttempts && _file < 0; ++attempt) {
        const std::string part = partNameFor(_name);
        _slot = claimSlot(_folder, part);
        _file = openat(_folder, part.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                       _mode == 0 ? kNewFile : kOursAlone);
        if (_file >= 0) {
            _part = part;
            return;
        }
        freeSlot(std::exchange(_slot, -1));
        if (errno != EEXIST) {
            break;
        }
    }
    fail();
}

void OutputFile::removePart() {
    if (!_part.empty()) {
        unlinkat(_folder, _part.c_str(), 0);
        _part.clear();
    }
    freeSlot(std::exchange(_slot, -1));
}

void OutputFile::removeUnfinished() noexcept {
    for (const Slot &slot : slots) {
        if (slot.state == Slot::InUse) {
            unlinkat(slot.folder, slot.name.data(), 0);
        }
    }
}

void OutputFile::close() {
    for (int *descriptor : {&_file, &_folder}) {
        if (*descriptor >= 0) {
            ::close(std::exchange(*descriptor, -1));
        }
    }
}

std::string OutputFile::descriptorPath() const { return "/proc/self/fd/" + std::to_string(_file); }

void OutputFile::write(const void *bytes, std::size_t count) {
    _buffer.append(static_cast<const char *>(bytes), count);
    if (_buffer.size() >= kBufferBytes) {
        flush();
    }
}

void OutputFile::restrictToUser() {
    if (fchmod(_file, kOursAlone) != 0) {
        fail();
    }
    _mode &= kOursAlone;
}

void OutputFile::flush() {
    std::string_view rest = _buffer;
    while (!rest.empty()) {
        const ssize_t count = ::write(_file, rest.data(), rest.size());
        if (count >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            waitForReader();
        } else if (errno != EINTR) {
            fail();
        }
    }
    _buffer.clear();
}

void OutputFile::waitForReader() const {
    pollfd state{_file, POLLOUT, 0};
    if (poll(&state, 1, kPatience) == 0) {
        throw HostError(_path, "cannot be written: nobody has read from it for a minute",
                        "see what its reader does");
    }
}

void OutputFile::commit() {
    flush();
    if (!_part.empty()) {
        keepOwnerAndPermissions();
    }
    if (::close(std::exchange(_file, -1)) != 0) {
        fail();
    }
    if (!_part.empty() && renameat(_folder, _part.c_str(), _folder, _name.c_str()) != 0) {
        fail();
    }
    _part.clear();
    freeSlot(std::exchange(_slot, -1));
    close();
}

/// A group that cannot be kept leaves the new file without its permissions.
void OutputFile::keepOwnerAndPermissions() const {
    struct stat status;
    if (_mode == 0 || fstat(_file, &status) != 0) {
        return;
    }
    mode_t mode = _mode;
    if (status.st_uid != _owner && fchown(_file, _owner, _group) == 0) {
        status.st_gid = _group;
    }
    if (status.st_gid != _group && fchown(_file, static_cast<uid_t>(-1), _group) != 0) {
        mode &= ~kGroupPermissions;
    }
    if (fchmod(_file, mode) != 0) {
        fail();
    }
}

void OutputFile::fail() const {
    throw HostError(_path, "cannot be written: " + systemErrorText(), kAdvice);
}

} // namespace Lumivera
