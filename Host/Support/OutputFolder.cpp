#include "Host/Support/OutputFolder.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kAdvice = "check the folder that it goes into, its permissions and the free "
                                "space";
constexpr int kFolderFlags = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// Longer names would leave no room for what is added to them.
constexpr std::size_t kMaxNameInPart = 200;

/// A folder to remove when a signal ends the process.
struct Slot {
    enum State { Free, Claimed, InUse };
    std::atomic<int> state = Free;
    int parent = -1;
    std::array<char, NAME_MAX + 1> name{};
};

/// Folders beyond this number stay behind when a signal ends the process.
std::array<Slot, 4> slots;

int claimSlot(int parent, const std::string &name) {
    for (std::size_t i = 0; i < slots.size() && name.size() <= NAME_MAX; ++i) {
        int free = Slot::Free;
        if (slots[i].state.compare_exchange_strong(free, Slot::Claimed)) {
            slots[i].parent = parent;
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

/// Removes the files that getdents() names. readdir() takes memory, which a handler of signals must
/// not.
void removeFiles(int folder) noexcept {
    alignas(dirent64) std::array<char, 4096> entries;
    long count = 0;
    while ((count = syscall(SYS_getdents64, folder, entries.data(), entries.size())) > 0) {
        for (long at = 0; at < count;) {
            const auto *entry = reinterpret_cast<const dirent64 *>(entries.data() + at);
            unlinkat(folder, entry->d_name, 0);
            at += entry->d_reclen;
        }
    }
}

/// Removes a folder of files alone. Some file systems skip names while others are removed.
void removeFolder(int parent, const char *name) noexcept {
    constexpr int kMaxAttempts = 8;
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
        const int folder = openat(parent, name, O_RDONLY | kFolderFlags);
        if (folder < 0) {
            return;
        }
        removeFiles(folder);
        ::close(folder);
        if (unlinkat(parent, name, AT_REMOVEDIR) == 0) {
            return;
        }
    }
}

std::string partNameFor(const std::string &name) {
    std::uint64_t number = 0;
    if (getrandom(&number, sizeof number, 0) != sizeof number) {
        throw HostError(name, "cannot be made: " + systemErrorText());
    }
    std::array<char, 32> digits;
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(number));
    return "." + name.substr(0, kMaxNameInPart) + "." + digits.data() + ".part";
}

/// The path without slashes at its end.
fs::path plain(const std::string &path) {
    const fs::path normal = fs::path(path).lexically_normal();
    return normal.has_filename() ? normal : normal.parent_path();
}

} // namespace

OutputFolder::OutputFolder(const std::string &path, Existing existing)
    : _path(plain(path).string()), _existing(existing), _name(plain(path).filename().string()) {
    if (_name.empty() || _name == "." || _name == "..") {
        throw HostError(path, "is no name for a new folder", "give another one");
    }
    const fs::path above = plain(path).parent_path();
    _parent = open(above.empty() ? "." : above.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    try {
        if (_parent < 0) {
            fail();
        }
        if (_existing == Existing::Refused) {
            checkNothingIsThere();
        }
        makePart();
    } catch (const HostError &) {
        close();
        throw;
    }
}

OutputFolder::~OutputFolder() {
    if (!_part.empty()) {
        removeFolder(_parent, _part.c_str());
    }
    freeSlot(_slot);
    close();
}

void OutputFolder::makePart() {
    const std::string part = partNameFor(_name);
    _slot = claimSlot(_parent, part);
    if (mkdirat(_parent, part.c_str(), 0777) == 0) {
        _part = part;
        _folder = openat(_parent, part.c_str(), O_RDONLY | kFolderFlags);
    }
    if (_folder < 0) {
        const int error = errno;
        freeSlot(std::exchange(_slot, -1));
        if (!_part.empty()) {
            unlinkat(_parent, _part.c_str(), AT_REMOVEDIR);
        }
        errno = error;
        fail();
    }
}

void OutputFolder::checkNothingIsThere() const {
    struct stat status;
    if (fstatat(_parent, _name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        failAsThere();
    }
}

std::string OutputFolder::partPath() const {
    return (fs::path(_path).parent_path() / _part).string();
}

void OutputFolder::write(const std::string &name, std::span<const std::uint8_t> bytes) const {
    OutputFile file(_folder, name, _path + "/" + name);
    file.write(bytes.data(), bytes.size());
    file.commit();
}

void OutputFolder::commit() {
    struct stat status;
    if (_existing == Existing::Replaced &&
        fstatat(_parent, _name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        exchange();
        std::error_code error;
        fs::remove_all(partPath(), error);
    } else if (renameat2(_parent, _part.c_str(), _parent, _name.c_str(), RENAME_NOREPLACE) != 0) {
        // A file system that does not know the flag never replaces a folder with files either.
        if (errno != EINVAL || renameat(_parent, _part.c_str(), _parent, _name.c_str()) != 0) {
            errno == EEXIST || errno == ENOTEMPTY || errno == ENOTDIR ? failAsThere() : fail();
        }
    }
    _part.clear();
    freeSlot(std::exchange(_slot, -1));
}

/// The old folder gets the new one's name. Where the file system cannot exchange them, there is
/// none of the name for a moment.
void OutputFolder::exchange() const {
    if (renameat2(_parent, _part.c_str(), _parent, _name.c_str(), RENAME_EXCHANGE) == 0) {
        return;
    }
    const std::string old = _part + ".old";
    if (errno != EINVAL || renameat(_parent, _name.c_str(), _parent, old.c_str()) != 0) {
        fail();
    }
    if (renameat(_parent, _part.c_str(), _parent, _name.c_str()) != 0) {
        const int error = errno;
        renameat(_parent, old.c_str(), _parent, _name.c_str());
        errno = error;
        fail();
    }
    renameat(_parent, old.c_str(), _parent, _part.c_str());
}

void OutputFolder::close() {
    for (int *descriptor : {&_folder, &_parent}) {
        if (*descriptor >= 0) {
            ::close(std::exchange(*descriptor, -1));
        }
    }
}

void OutputFolder::removeUnfinished() noexcept {
    for (const Slot &slot : slots) {
        if (slot.state == Slot::InUse) {
            removeFolder(slot.parent, slot.name.data());
        }
    }
}

void OutputFolder::fail() const {
    throw HostError(_path, "cannot be made: " + systemErrorText(), kAdvice);
}

void OutputFolder::failAsThere() const {
    throw HostError(_path, "is there already", "give another name, or replace it with --force");
}

} // namespace Lumivera
