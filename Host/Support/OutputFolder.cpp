#include "Host/Support/OutputFolder.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kAdvice = "check the folder that it goes into, its permissions and the free "
                                "space";
constexpr int kFolderFlags = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int kNewFileFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;

constexpr const char *kUnfinished = ".unfinished";

constexpr std::size_t kPortion = std::size_t{1} << 20;

/// How often a name may be taken and given up again by others while the folder gets it.
constexpr int kMaxAttempts = 16;

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

bool removeFolder(int parent, const char *name, int depth = 0) noexcept;

/// Removes what getdents() names; true when it could remove something. readdir() takes memory,
/// which a handler of signals must not.
bool removeEntries(int folder, int depth) noexcept {
    alignas(dirent64) std::array<char, 1024> entries;
    bool isChanged = false;
    long count = 0;
    while ((count = syscall(SYS_getdents64, folder, entries.data(), entries.size())) > 0) {
        for (long at = 0; at < count;) {
            const auto *entry = reinterpret_cast<const dirent64 *>(entries.data() + at);
            at += entry->d_reclen;
            const char *name = entry->d_name;
            if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) {
                isChanged |= unlinkat(folder, name, 0) == 0 ||
                             (errno == EISDIR && removeFolder(folder, name, depth + 1));
            }
        }
    }
    return isChanged;
}

/// Removes a folder with all that is in it. Some file systems skip names while others are removed,
/// so it looks again as long as that helps.
bool removeFolder(int parent, const char *name, int depth) noexcept {
    constexpr int kMaxDepth = 32;
    for (bool isChanged = depth <= kMaxDepth; isChanged;) {
        const int folder = openat(parent, name, O_RDONLY | kFolderFlags);
        if (folder < 0) {
            return false;
        }
        isChanged = removeEntries(folder, depth);
        ::close(folder);
        if (unlinkat(parent, name, AT_REMOVEDIR) == 0) {
            return true;
        }
    }
    return false;
}

/// False when what was written did not reach the disk. Some file systems cannot tell.
bool store(int descriptor) { return fsync(descriptor) == 0 || errno == EINVAL; }

bool storeFolder(int parent, const char *name) {
    const int folder = openat(parent, name, O_RDONLY | kFolderFlags);
    const bool isStored = folder >= 0 && store(folder);
    const int error = errno;
    ::close(folder);
    errno = error;
    return isStored;
}

bool isTaken(int error) {
    return error == EEXIST || error == ENOTEMPTY || error == ENOTDIR || error == EISDIR;
}

/// The path without slashes at its end.
fs::path plain(const std::string &path) {
    const fs::path normal = fs::path(path).lexically_normal();
    return normal.has_filename() ? normal : normal.parent_path();
}

} // namespace

OutputFolder::OutputFolder(const std::string &path, Existing existing, Kind kind)
    : _path(plain(path).string()), _existing(existing), _kind(kind),
      _name(plain(path).filename().string()) {
    if (_name.empty() || _name == "." || _name == "..") {
        throw HostError(path, "is no name for a new folder", "give another one");
    }
    const fs::path above = plain(path).parent_path();
    _parent = open(above.empty() ? "." : above.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    try {
        if (_parent < 0) {
            fail();
        }
        if (_existing != Existing::Replaced) {
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

/// The lock tells others that the folder is not abandoned.
void OutputFolder::makePart() {
    const std::string part = unfinishedNameFor(_name);
    _slot = claimSlot(_parent, part);
    if (mkdirat(_parent, part.c_str(), folderMode()) == 0) {
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
    flock(_folder, LOCK_SH | LOCK_NB);
}

unsigned OutputFolder::folderMode() const { return _kind == Kind::Installed ? 0755 : 0777; }

unsigned OutputFolder::fileMode() const { return _kind == Kind::Installed ? 0644 : 0666; }

void OutputFolder::checkNothingIsThere() const {
    struct stat status;
    if (fstatat(_parent, _name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        failAsThere();
    }
}

std::string OutputFolder::partPath() const {
    return (fs::path(_path).parent_path() / _part).string();
}

void OutputFolder::write(const std::string &name, std::span<const std::uint8_t> bytes,
                         const Progress &progress) const {
    makeFoldersOf(name);
    const int file = openat(_folder, name.c_str(), kNewFileFlags, fileMode());
    if (file < 0) {
        failToWrite(name);
    }
    const std::unique_ptr<const int, void (*)(const int *)> closed(
        &file, [](const int *descriptor) { ::close(*descriptor); });
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count =
            ::write(file, bytes.data() + done, std::min(kPortion, bytes.size() - done));
        if (count < 0 && errno != EINTR) {
            failToWrite(name);
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        if (progress) {
            progress(done);
        }
    }
    if (_kind == Kind::Installed && !Lumivera::store(file)) {
        failToWrite(name);
    }
}

void OutputFolder::makeFoldersOf(const std::string &name) const {
    for (std::size_t at = name.find('/'); at != std::string::npos; at = name.find('/', at + 1)) {
        const std::string folder = name.substr(0, at);
        if (mkdirat(_folder, folder.c_str(), folderMode()) != 0 && errno != EEXIST) {
            failToWrite(folder);
        }
    }
}

void OutputFolder::commit(const std::function<void()> &replaced) {
    if (_kind == Kind::Installed) {
        store();
    }
    const Outcome outcome = giveName();
    if (outcome == Outcome::Left) {
        return;
    }
    if (_kind == Kind::Installed) {
        storeFolder(_parent, ".");
    }
    if (outcome == Outcome::Exchanged) {
        if (replaced) {
            replaced();
        }
        std::error_code ignored;
        fs::remove_all(partPath(), ignored);
    }
    _part.clear();
    freeSlot(std::exchange(_slot, -1));
}

/// Others may take the name meanwhile, and give it up again.
OutputFolder::Outcome OutputFolder::giveName() const {
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
        if (move()) {
            return Outcome::Named;
        }
        if (isTaken(errno) && _existing == Existing::Refused) {
            failAsThere();
        }
        if (isTaken(errno) && _existing == Existing::Kept) {
            return Outcome::Left;
        }
        if (isTaken(errno) && exchange()) {
            return Outcome::Exchanged;
        }
        if (!isTaken(errno) && errno != ENOENT) {
            break;
        }
    }
    fail();
}

void OutputFolder::store() const {
    std::error_code error;
    for (fs::recursive_directory_iterator entry(partPath(), error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->is_directory(error) && !storeFolder(AT_FDCWD, entry->path().c_str())) {
            fail();
        }
    }
    if (error || !Lumivera::store(_folder)) {
        fail();
    }
}

/// A file system that does not know the flag never replaces a folder with files either.
bool OutputFolder::move() const {
    return renameat2(_parent, _part.c_str(), _parent, _name.c_str(), RENAME_NOREPLACE) == 0 ||
           (errno == EINVAL && renameat(_parent, _part.c_str(), _parent, _name.c_str()) == 0);
}

/// The old folder gets the new one's name.
bool OutputFolder::exchange() const {
    return renameat2(_parent, _part.c_str(), _parent, _name.c_str(), RENAME_EXCHANGE) == 0 ||
           (errno == EINVAL && exchangeInSteps());
}

/// Where the file system cannot exchange two folders, such as NFS, there is none of the name for a
/// moment.
bool OutputFolder::exchangeInSteps() const {
    const std::string old = unfinishedNameFor(_name);
    if (renameat(_parent, _name.c_str(), _parent, old.c_str()) != 0) {
        return false;
    }
    if (renameat(_parent, _part.c_str(), _parent, _name.c_str()) != 0) {
        const int error = errno;
        if (renameat(_parent, old.c_str(), _parent, _name.c_str()) != 0) {
            removeFolder(_parent, old.c_str());
        }
        errno = error;
        return false;
    }
    renameat(_parent, old.c_str(), _parent, _part.c_str());
    return true;
}

std::string OutputFolder::unfinishedNameFor(const std::string &name) {
    std::uint64_t number = 0;
    if (getrandom(&number, sizeof number, 0) != sizeof number) {
        throw HostError(name, "cannot be made: " + systemErrorText());
    }
    std::array<char, 32> digits;
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(number));
    return "." + name.substr(0, kMaxNameInPart) + "." + digits.data() + kUnfinished;
}

void OutputFolder::removeAbandonedIn(const std::string &folder) {
    std::error_code error;
    std::vector<fs::path> abandoned;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with('.') && name.ends_with(kUnfinished)) {
            abandoned.push_back(entry->path());
        }
    }
    for (const fs::path &path : abandoned) {
        const int opened = open(path.c_str(), O_RDONLY | kFolderFlags);
        if (opened < 0 || flock(opened, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) {
            fs::remove_all(path, error);
        }
        ::close(opened);
    }
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

void OutputFolder::failToWrite(const std::string &name) const {
    throw HostError(_path + "/" + name, "cannot be written: " + systemErrorText(), kAdvice);
}

void OutputFolder::failAsThere() const {
    throw HostError(_path, "is there already", "take another name, or remove it first");
}

} // namespace Lumivera
