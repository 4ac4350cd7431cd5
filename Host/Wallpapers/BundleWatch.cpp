#include "Host/Wallpapers/BundleWatch.h"

#include "Host/Support/HostError.h"

#include <array>
#include <filesystem>
#include <sys/inotify.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kChanges = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY |
                                   IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

std::string absolutePath(const std::string &path) {
    std::error_code error;
    fs::path absolute = fs::absolute(path, error).lexically_normal();
    return (absolute.has_filename() ? absolute : absolute.parent_path()).string();
}

} // namespace

BundleWatch::BundleWatch(DescriptorWatch &watch, std::string path, std::function<void()> changed)
    : _watch(watch), _path(absolutePath(path)), _changed(std::move(changed)),
      _notifications(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), _tell([this] {
          // Watches before the bundle is read again, so that no later change is missed.
          watchFolders();
          _changed();
      }) {
    if (_notifications < 0) {
        throw HostError(path, "cannot be watched: " + systemErrorText(),
                        "raise fs.inotify.max_user_instances");
    }
    watchFolders();
    _watch.add(*this);
}

BundleWatch::~BundleWatch() {
    _watch.remove(*this);
    close(_notifications);
}

void BundleWatch::serve() {
    alignas(inotify_event) std::array<char, 4096> events;
    ssize_t size = 0;
    bool isChanged = false;
    while ((size = ::read(_notifications, events.data(), events.size())) > 0) {
        for (ssize_t at = 0; at < size;) {
            const auto *event = reinterpret_cast<const inotify_event *>(events.data() + at);
            isChanged = isChanged || (event->mask & IN_Q_OVERFLOW) != 0 ||
                        concernsBundle(event->wd, event->len > 0 ? event->name : "");
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
    }
    if (isChanged) {
        _tell.callAfter(kQuietTime);
    }
}

/// Events without a name are about the folder above itself. What watchFolders() has given up sends
/// a last event, which is about none of ours.
bool BundleWatch::concernsBundle(int watch, const char *name) const {
    return watch == _parentWatch ? _nameInParent == name || *name == '\0'
                                 : _watches.contains(watch);
}

void BundleWatch::watchFolders() {
    for (const int watch : std::exchange(_watches, {})) {
        inotify_rm_watch(_notifications, watch);
    }
    if (_parentWatch >= 0) {
        inotify_rm_watch(_notifications, std::exchange(_parentWatch, -1));
    }
    std::error_code error;
    fs::path part = _path;
    while (part.has_relative_path() && !fs::is_directory(part.parent_path(), error)) {
        part = part.parent_path();
    }
    _nameInParent = part.filename().string();
    _parentWatch = inotify_add_watch(_notifications, part.parent_path().c_str(), kChanges);
    watchBundle(_path, 0);
}

/// Links are not followed, because bundles hold none.
void BundleWatch::watchBundle(const std::string &folder, int depth) {
    const int watch =
        inotify_add_watch(_notifications, folder.c_str(), kChanges | IN_ONLYDIR | IN_DONT_FOLLOW);
    if (watch < 0 || depth == kMaxDepth || _watches.size() >= kMaxFolders) {
        return;
    }
    _watches.insert(watch);
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code ignored;
        if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
            watchBundle(entry->path().string(), depth + 1);
        }
    }
}

} // namespace Lumivera
