#include "Host/Desktop/Configuration/ConfigurationFile.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Host/Support/Patience.h"
#include "Host/Wallpapers/Places.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr NSTimeInterval kQuietTime = 0.1;
constexpr int kMaxLinks = 16;

constexpr std::uint32_t kNameEvents =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB;
constexpr std::uint32_t kFolderEvents = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t kEndEvents = kFolderEvents | IN_IGNORED | IN_UNMOUNT | IN_Q_OVERFLOW;

bool isFolder(const fs::path &path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

/// The longest beginning of the path whose parent folder exists.
fs::path existingPartOf(fs::path path) {
    while (path.has_parent_path() && path.parent_path() != path && !isFolder(path.parent_path())) {
        path = path.parent_path();
    }
    return path;
}

/// The text of the file; nothing when there is no file.
std::optional<std::string> contentsOf(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return std::nullopt;
        }
        throw HostError(path, "cannot be read: " + systemErrorText(), "check its permissions");
    }
    if (!S_ISREG(status.st_mode)) {
        throw HostError(path, S_ISDIR(status.st_mode) ? "is a folder" : "is no regular file",
                        "put the configuration there, or nothing");
    }
    if (static_cast<std::uint64_t>(status.st_size) > Configuration::kMaxBytes) {
        throw HostError(path, "is larger than 1 MiB", "shorten it");
    }
    const auto bytes = readFile(path, Configuration::kMaxBytes);
    if (!bytes) {
        throw HostError(path, "cannot be read", "check its permissions");
    }
    return std::string(bytes->begin(), bytes->end());
}

void makeFolderOf(const std::string &path) {
    std::error_code error;
    const fs::path folder = fs::path(path).parent_path();
    if (!folder.empty() && !isFolder(folder)) {
        fs::create_directories(folder, error);
    }
}

/// A descriptor of its own for work that may outlive the file's object.
struct Notifications {
    explicit Notifications(int original) : descriptor(fcntl(original, F_DUPFD_CLOEXEC, 0)) {}
    ~Notifications() { close(descriptor); }
    Notifications(const Notifications &) = delete;
    Notifications &operator=(const Notifications &) = delete;

    const int descriptor;
};

} // namespace

ConfigurationFile::ConfigurationFile(DescriptorWaiter &waiter, std::string path)
    : _waiter(waiter), _path(std::move(path)),
      _notifications(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), _readAgain([this] { readAgain(); }) {
    if (_notifications >= 0) {
        watchFolders();
        _waiter.add(*this);
    }
    load();
}

ConfigurationFile::~ConfigurationFile() {
    if (_notifications >= 0) {
        _waiter.remove(*this);
        close(_notifications);
    }
}

std::string ConfigurationFile::standardPath() {
    return Places::configurationPath("lumivera/lumivera.toml");
}

Configuration ConfigurationFile::read(const std::string &path) {
    const auto text = contentsOf(path);
    Configuration configuration = text ? Configuration::parse(*text, path) : Configuration();
    std::error_code error;
    const fs::path folder = fs::absolute(path, error).parent_path();
    configuration.resolvePaths(folder.string(), Places::homeFolder());
    return configuration;
}

void ConfigurationFile::setWallpaper(const std::string &path, const std::string &wallpaper) {
    const std::string before = contentsOf(path).value_or("");
    const std::string after = Configuration::withWallpaper(before, wallpaper, path);
    if (after == before) {
        return;
    }
    makeFolderOf(path);
    OutputFile file(path);
    file.write(after);
    file.commit();
}

void ConfigurationFile::serve() {
    alignas(inotify_event) std::array<char, 4096> events;
    ssize_t size;
    bool isChanged = false;
    while ((size = ::read(_notifications, events.data(), events.size())) > 0) {
        for (ssize_t at = 0; at < size;) {
            const auto *event = reinterpret_cast<const inotify_event *>(events.data() + at);
            isChanged =
                isChanged || concernsUs(event->wd, event->mask, event->len > 0 ? event->name : "");
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
    }
    if (isChanged) {
        _readAgain.callAfter(kQuietTime);
    }
}

bool ConfigurationFile::concernsUs(int watch, std::uint32_t mask, const char *name) const {
    if (mask & IN_Q_OVERFLOW) {
        return true;
    }
    for (const Watch &known : _watches) {
        if (known.number == watch && ((mask & kEndEvents) || known.name == name)) {
            return true;
        }
    }
    return false;
}

/// Watches before it reads, so that no later change is missed.
void ConfigurationFile::readAgain() {
    watchFolders();
    const Configuration before = _configuration;
    const std::string problemBefore = _problem;
    load();
    if (!_listener) {
        return;
    }
    if (!_problem.empty() && _problem != problemBefore) {
        _listener->configurationBroken(_problem);
    } else if (_problem.empty() && (!problemBefore.empty() || before != _configuration)) {
        _listener->configurationChanged(_configuration);
    }
}

void ConfigurationFile::load() {
    try {
        const auto configuration =
            Patience::resultOf<Configuration>([path = _path] { return read(path); });
        if (!configuration) {
            throw HostError(_path, "cannot be read: the file system does not answer",
                            "begin the desktop anew when it does");
        }
        _configuration = *configuration;
        _problem.clear();
    } catch (const HostError &error) {
        _problem = error.what();
    }
}

/// Watches the folder of the file, or the nearest existing folder on the way to it, and the same
/// for the targets of links. Watches nothing when the file system does not answer.
void ConfigurationFile::watchFolders() {
    for (const Watch &known : _watches) {
        inotify_rm_watch(_notifications, known.number);
    }
    const auto notifications = std::make_shared<Notifications>(_notifications);
    _watches = Patience::resultOf<std::vector<Watch>>([notifications, path = fs::path(_path)] {
                   return watchesFor(notifications->descriptor, path);
               }).value_or(std::vector<Watch>());
}

std::vector<ConfigurationFile::Watch> ConfigurationFile::watchesFor(int notifications,
                                                                    std::filesystem::path path) {
    std::vector<Watch> watches;
    for (int links = 0; links < kMaxLinks; ++links) {
        watch(notifications, path.string(), watches);
        std::error_code error;
        const fs::path target = fs::read_symlink(path, error);
        if (error) {
            break;
        }
        path = path.parent_path() / target;
    }
    return watches;
}

/// A folder on the way may appear before the watch begins, so this looks again after each watch.
void ConfigurationFile::watch(int notifications, const std::string &path,
                              std::vector<Watch> &watches) {
    fs::path part;
    for (fs::path next = existingPartOf(path); next != part; next = existingPartOf(path)) {
        part = next;
        const int number = inotify_add_watch(
            notifications, part.parent_path().empty() ? "." : part.parent_path().c_str(),
            kNameEvents | kFolderEvents | IN_MASK_ADD | IN_ONLYDIR);
        if (number >= 0) {
            watches.push_back({number, part.filename().string()});
        }
    }
}

} // namespace Lumivera
