#include "Host/Desktop/Isolation/Sandbox.h"
#include "Tests/Host/Hostile/Deeds.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <linux/fs.h>
#include <sys/fanotify.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

constexpr unsigned N = Lumivera::Sandbox::kNamespaces;
constexpr unsigned L = Lumivera::Sandbox::kFileRules;
constexpr unsigned S = Lumivera::Sandbox::kCallFilter;

/// Bits that the kernel does not look at, where it takes a word of 32 bits.
constexpr long kHighBits = 1L << 32;

constexpr long kFchmodat2 = 452;
constexpr long kSetxattrat = 463;

bool canOpen(const std::string &path, long flags) {
    return syscall(SYS_openat, AT_FDCWD, path.c_str(), flags, 0600) >= 0;
}

bool lists(const std::string &folder, const std::string &name) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().filename() == name) {
            return true;
        }
    }
    return false;
}

/// A file's flags can be changed without a right to write it.
bool changesFlags(const std::string &path, long flags) {
    const auto file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path.c_str(), flags, 0));
    int bits = 0;
    return file >= 0 && ioctl(file, FS_IOC_GETFLAGS, &bits) == 0 &&
           ioctl(file, FS_IOC_SETFLAGS, &bits) == 0;
}

struct OpenHow {
    std::uint64_t flags;
    std::uint64_t mode;
    std::uint64_t resolve;
};

bool canOpen2(const std::string &path, std::uint64_t flags) {
    const OpenHow how{flags, 0, 0};
    return syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how) >= 0;
}

union Handle {
    file_handle header;
    char bytes[sizeof(file_handle) + MAX_HANDLE_SZ];
};

bool getsHandle(const Victims &victims) {
    Handle handle{};
    handle.header.handle_bytes = MAX_HANDLE_SZ;
    int mount = 0;
    return name_to_handle_at(AT_FDCWD, victims.secret().c_str(), &handle.header, &mount, 0) == 0;
}

bool watchesAll(const Victims &victims) {
    const int watch = fanotify_init(FAN_CLASS_NOTIF | FAN_REPORT_FID, O_RDONLY);
    return watch >= 0 &&
           fanotify_mark(watch, FAN_MARK_ADD, FAN_OPEN, AT_FDCWD, victims.secret().c_str()) == 0;
}

bool changesAttributeAt(const Victims &victims) {
    const struct {
        std::uint64_t value;
        std::uint32_t size;
        std::uint32_t flags;
    } arguments{reinterpret_cast<std::uint64_t>("y"), 1, 0};
    return syscall(kSetxattrat, AT_FDCWD, victims.mine().c_str(), 0, "user.note", &arguments,
                   sizeof arguments) == 0;
}

} // namespace

const std::vector<Deed> &fileDeeds() {
    static const std::vector<Deed> deeds = {
        {"reads a file beside the bundle", N | L,
         [](const Victims &v) { return canOpen(v.secret(), O_RDONLY); }},
        {"reads through a link in the bundle", N | L,
         [](const Victims &v) { return canOpen(v.bundle() + "/link", O_RDONLY); }},
        {"reads through .. of the bundle", N | L,
         [](const Victims &v) { return canOpen(v.bundle() + "/../secret", O_RDONLY); }},
        {"reads with openat2", N | L | S,
         [](const Victims &v) { return canOpen2(v.secret(), O_RDONLY); }},
        {"lists a folder of the user", N | L,
         [](const Victims &v) { return lists(v.folder(), "secret"); }},
        {"reads who uses the machine", N | L,
         [](const Victims &) { return canOpen("/etc/passwd", O_RDONLY); }},
        {"reads what is mounted", N | L,
         [](const Victims &) { return canOpen("/proc/self/mountinfo", O_RDONLY); }},
        {"reads of the network", N | L,
         [](const Victims &) { return canOpen("/proc/net/dev", O_RDONLY); }},
        {"reads hardware addresses", N | L,
         [](const Victims &) { return canOpen("/sys/class/net/lo/address", O_RDONLY); }},
        {"reads the memory of a process by its file", N | L,
         [](const Victims &v) {
             return canOpen("/proc/" + std::to_string(v.process()) + "/maps", O_RDONLY);
         }},
        {"opens a picture to write", N | L | S,
         [](const Victims &v) { return canOpen(v.picture(), O_WRONLY); }},
        {"opens a picture to read and write", N | L | S,
         [](const Victims &v) { return canOpen(v.picture(), O_RDWR); }},
        {"opens to write with high bits", N | L | S,
         [](const Victims &v) { return canOpen(v.mine(), O_WRONLY | kHighBits); }},
        {"opens to write with openat2", N | L | S,
         [](const Victims &v) { return canOpen2(v.mine(), O_WRONLY); }},
        {"opens in mode 3", N | S, [](const Victims &v) { return canOpen(v.mine(), 3); }},
        {"opens in mode 3 with high bits", N | S,
         [](const Victims &v) { return canOpen(v.mine(), 3 | kHighBits); }},
        {"changes flags of a file in mode 3", N | S,
         [](const Victims &v) { return changesFlags(v.mine(), 3); }},
        {"changes flags of the bundle", N | S,
         [](const Victims &v) { return changesFlags(v.picture(), O_RDONLY); }},
        {"makes a file without a name", N | L | S,
         [](const Victims &v) { return canOpen(v.folder(), O_TMPFILE | O_RDWR); }},
        {"makes a file without a name in mode 3", N | S,
         [](const Victims &v) { return canOpen(v.folder(), O_TMPFILE | 3); }},
        {"makes a file in the bundle", N | L | S,
         [](const Victims &v) { return canOpen(v.bundle() + "/new", O_RDONLY | O_CREAT); }},
        {"makes a file with creat", N | L | S,
         [](const Victims &v) { return creat((v.folder() + "/new").c_str(), 0600) >= 0; }},
        {"makes a file for all", N | L | S,
         [](const Victims &) {
             const std::string path = "/dev/shm/hostile-" + std::to_string(getpid());
             const bool isMade = canOpen(path, O_WRONLY | O_CREAT);
             unlink(path.c_str());
             return isMade;
         }},
        {"empties a file while opening", N | L | S,
         [](const Victims &v) { return canOpen(v.picture(), O_RDONLY | O_TRUNC); }, 3},
        {"empties a file", N | L | S,
         [](const Victims &v) { return truncate(v.picture().c_str(), 0) == 0; }, 3},
        {"removes a file", N | L | S,
         [](const Victims &v) { return unlink(v.picture().c_str()) == 0; }},
        {"removes a folder", N | L | S,
         [](const Victims &v) { return rmdir((v.folder() + "/empty").c_str()) == 0; }},
        {"renames a file", N | L | S,
         [](const Victims &v) { return rename(v.mine().c_str(), (v.mine() + "2").c_str()) == 0; }},
        {"makes a folder", N | L | S,
         [](const Victims &v) { return mkdir((v.folder() + "/new").c_str(), 0700) == 0; }},
        {"makes a link", N | L | S,
         [](const Victims &v) { return symlink("/", (v.folder() + "/new").c_str()) == 0; }},
        {"makes a second name", N | L | S,
         [](const Victims &v) {
             return link(v.secret().c_str(), (v.bundle() + "/new").c_str()) == 0;
         }},
        {"makes a pipe with a name", N | L | S,
         [](const Victims &v) { return mkfifo((v.folder() + "/new").c_str(), 0600) == 0; }},
        {"changes who may write", N | S,
         [](const Victims &v) { return chmod(v.mine().c_str(), 0666) == 0; }},
        {"changes who may write the bundle", N | S,
         [](const Victims &v) { return chmod(v.picture().c_str(), 0666) == 0; }},
        {"changes who may write by a newer call", N | S,
         [](const Victims &v) {
             return syscall(kFchmodat2, AT_FDCWD, v.mine().c_str(), 0666, 0) == 0;
         }},
        {"changes the owner", N | S,
         [](const Victims &v) { return chown(v.mine().c_str(), getuid(), getgid()) == 0; }},
        {"changes times", N | S,
         [](const Victims &v) {
             return utimensat(AT_FDCWD, v.picture().c_str(), nullptr, 0) == 0;
         }},
        {"reads an attribute", N | S,
         [](const Victims &v) {
             char value[8];
             return getxattr(v.mine().c_str(), "user.note", value, sizeof value) >= 0;
         }},
        {"lists attributes", N | S,
         [](const Victims &v) {
             char names[256];
             return listxattr(v.mine().c_str(), names, sizeof names) > 0;
         }},
        {"sets an attribute", N | S,
         [](const Victims &v) { return setxattr(v.mine().c_str(), "user.note", "y", 1, 0) == 0; }},
        {"sets an attribute by a newer call", N | S, changesAttributeAt},
        {"removes an attribute", N | S,
         [](const Victims &v) { return removexattr(v.mine().c_str(), "user.note") == 0; }},
        {"gets the handle of a file", N | S, getsHandle},
        {"watches a file of the user", N | S,
         [](const Victims &v) {
             return inotify_add_watch(inotify_init1(0), v.secret().c_str(), IN_ALL_EVENTS) >= 0;
         }},
        {"watches who opens files", N | S, watchesAll},
        {"locks a file of the user", N | L | S,
         [](const Victims &v) {
             return flock(open(v.mine().c_str(), O_RDONLY), LOCK_EX | LOCK_NB) == 0;
         }},
        {"changes the root", N | S,
         [](const Victims &v) { return chroot(v.bundle().c_str()) == 0; }},
    };
    return deeds;
}
