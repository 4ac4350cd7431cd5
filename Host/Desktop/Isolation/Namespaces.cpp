#include "Host/Desktop/Isolation/Namespaces.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <linux/capability.h>
#include <linux/keyctl.h>
#include <sched.h>
#include <string_view>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Lumivera::Namespaces {

namespace {

namespace fs = std::filesystem;

constexpr int kSpaces =
    CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWUTS;
constexpr int kCapabilities = 64;
constexpr std::string_view kHostName = "wallpaper";
constexpr const char *kRoot = "root";

bool writeTo(const char *path, const std::string &text) {
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    const bool isWritten =
        file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(file);
    return isWritten;
}

/// Keeps the user's and the group's number; every other number looks like nobody's.
bool mapUser(uid_t user, gid_t group) {
    const auto line = [](unsigned number) {
        return std::to_string(number) + " " + std::to_string(number) + " 1";
    };
    return writeTo("/proc/self/setgroups", "deny") && writeTo("/proc/self/uid_map", line(user)) &&
           writeTo("/proc/self/gid_map", line(group));
}

/// Makes the folders above the path; `root` is an empty folder.
void makeFoldersAbove(int root, const fs::path &path) {
    fs::path above;
    for (const fs::path &part : path.parent_path()) {
        above /= part;
        mkdirat(root, above.c_str(), 0755);
    }
}

/// An empty file or folder to mount on.
bool makePlace(int root, const fs::path &path, bool isFolder) {
    makeFoldersAbove(root, path);
    const int made = isFolder ? mkdirat(root, path.c_str(), 0755)
                              : mknodat(root, path.c_str(), S_IFREG | 0644, 0);
    return made == 0 || errno == EEXIST;
}

/// Makes the same link in the new root that the system has there.
bool copyLink(int root, const std::string &path) {
    std::error_code error;
    const fs::path target = fs::read_symlink(path, error);
    if (error) {
        return false;
    }
    makeFoldersAbove(root, path.substr(1));
    return symlinkat(target.c_str(), root, path.c_str() + 1) == 0 || errno == EEXIST;
}

/// Shows what the descriptor refers to, with all mounts in it, below the new root; nobody can write
/// it there.
bool show(int root, const std::string &path, int descriptor, mode_t mode) {
    const int tree = open_tree(descriptor, "",
                               AT_EMPTY_PATH | AT_RECURSIVE | OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC);
    mount_attr attributes{};
    attributes.attr_set =
        MOUNT_ATTR_RDONLY | MOUNT_ATTR_NOSUID | (S_ISCHR(mode) ? 0 : MOUNT_ATTR_NODEV);
    const bool isShown = tree >= 0 &&
                         mount_setattr(tree, "", AT_EMPTY_PATH | AT_RECURSIVE, &attributes,
                                       sizeof attributes) == 0 &&
                         makePlace(root, path.substr(1), S_ISDIR(mode)) &&
                         move_mount(tree, "", root, path.c_str() + 1, MOVE_MOUNT_F_EMPTY_PATH) == 0;
    close(tree);
    return isShown;
}

/// True as well for files that are missing.
bool show(int root, const ReadableFile &file) {
    if (file.mayBeLink && copyLink(root, file.path)) {
        return true;
    }
    const int descriptor = file.open();
    struct stat status;
    const bool isThere = descriptor >= 0 && fstat(descriptor, &status) == 0;
    const bool isDone = !isThere || show(root, file.path, descriptor, status.st_mode);
    close(descriptor);
    return isDone;
}

/// Parents come first, because nothing can be mounted on what is missing in a folder that nobody
/// can write. What lies in a readable folder is readable already.
bool showAll(int root, std::vector<ReadableFile> readable) {
    std::sort(readable.begin(), readable.end(),
              [](const auto &one, const auto &other) { return one.path < other.path; });
    std::string shown;
    for (const ReadableFile &file : readable) {
        if (file.path.size() < 2 || file.path.front() != '/') {
            return false;
        }
        struct stat status;
        if (!shown.empty() && (file.path + "/").starts_with(shown)) {
            continue;
        }
        if (!show(root, file)) {
            return false;
        }
        const bool isFolder = lstat(file.path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
        shown = isFolder ? file.path + "/" : shown;
    }
    return true;
}

int makeFileSystem() {
    const int system = fsopen("tmpfs", FSOPEN_CLOEXEC);
    if (system < 0) {
        return -1;
    }
    fsconfig(system, FSCONFIG_SET_STRING, "mode", "0755", 0);
    const bool isMade = fsconfig(system, FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) == 0;
    const int root =
        isMade ? fsmount(system, FSMOUNT_CLOEXEC, MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV) : -1;
    close(system);
    return root;
}

/// Makes the folder in the file system the root, and lets go of the old one. The kernel gives no
/// namespaces to a process whose root is not that of its file system, so there are none within
/// these.
bool makeRoot(int system) {
    mount_attr readOnly{};
    readOnly.attr_set = MOUNT_ATTR_RDONLY;
    return fchdir(system) == 0 && syscall(SYS_pivot_root, ".", ".") == 0 &&
           umount2(".", MNT_DETACH) == 0 &&
           mount_setattr(AT_FDCWD, ".", 0, &readOnly, sizeof readOnly) == 0 && chroot(kRoot) == 0 &&
           chdir("/") == 0;
}

bool changeRoot(const std::vector<ReadableFile> &readable) {
    mount_attr attributes{};
    attributes.propagation = MS_PRIVATE;
    if (mount_setattr(AT_FDCWD, "/", AT_RECURSIVE, &attributes, sizeof attributes) != 0) {
        return false;
    }
    const int system = makeFileSystem();
    // It must be mounted somewhere before anything can be mounted in it.
    const bool isMounted = system >= 0 &&
                           move_mount(system, "", AT_FDCWD, "/", MOVE_MOUNT_F_EMPTY_PATH) == 0 &&
                           mkdirat(system, kRoot, 0755) == 0;
    const int root = isMounted ? openat(system, kRoot, O_PATH | O_DIRECTORY | O_CLOEXEC) : -1;
    const bool isChanged = root >= 0 && showAll(root, readable) && makeRoot(system);
    close(root);
    close(system);
    return isChanged;
}

/// The user's keys are reached through the keys of the session, which processes inherit. Some
/// containers refuse this, and a user has a limit of keys; the call filter still keeps keys away.
void leaveKeys() { syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr); }

/// fork(), whose child may become a child of our parent. The C library keeps the identifier of its
/// thread where the kernel is told to write it.
pid_t fork(bool isSibling) {
    int *identifier = nullptr;
    prctl(PR_GET_TID_ADDRESS, &identifier, 0, 0, 0);
    const unsigned long flags = SIGCHLD | (isSibling ? CLONE_PARENT : 0) |
                                (identifier ? CLONE_CHILD_SETTID | CLONE_CHILD_CLEARTID : 0);
    // The last two arguments change places between processors; the thread's storage is not set.
    return static_cast<pid_t>(syscall(SYS_clone, flags, nullptr, nullptr, identifier, identifier));
}

[[noreturn]] void endLike(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        std::signal(WTERMSIG(status), SIG_DFL);
        kill(getpid(), WTERMSIG(status));
    }
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
}

/// The new process waits until the old one has told of it and exited.
void continueInNewProcess(const std::function<void(int)> &movedTo) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        _exit(1);
    }
    int signalAtParentsEnd = 0;
    prctl(PR_GET_PDEATHSIG, &signalAtParentsEnd, 0, 0, 0);
    const pid_t process = fork(static_cast<bool>(movedTo));
    if (process < 0) {
        _exit(1);
    }
    if (process > 0) {
        if (!movedTo) {
            close(ends[0]);
            close(ends[1]);
            endLike(process);
        }
        movedTo(process);
        _exit(write(ends[1], "", 1) == 1 ? 0 : 1);
    }
    prctl(PR_SET_PDEATHSIG, signalAtParentsEnd, 0, 0, 0);
    close(ends[1]);
    char told = 0;
    const bool isTold = read(ends[0], &told, 1) == 1;
    if (movedTo && (!isTold || read(ends[0], &told, 1) != 0)) {
        _exit(1);
    }
    close(ends[0]);
    // A session of its own has its own share of the processor, where the kernel groups by session.
    setsid();
}

} // namespace

bool enter(const std::vector<ReadableFile> &readable, const std::function<void(int)> &movedTo) {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(kSpaces) != 0) {
        return false;
    }
    const bool isApart = mapUser(user, group) && changeRoot(readable);
    leaveKeys();
    sethostname(kHostName.data(), kHostName.size());
    const bool isPowerless = giveUpCapabilities();
    continueInNewProcess(movedTo);
    return isApart && isPowerless;
}

bool giveUpCapabilities() {
    for (int capability = 0; capability < kCapabilities; ++capability) {
        prctl(PR_CAPBSET_DROP, capability, 0, 0, 0);
    }
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capset, &header, none) == 0;
}

} // namespace Lumivera::Namespaces
