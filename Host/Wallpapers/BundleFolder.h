#pragma once

#include "Host/Support/HostError.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

struct stat;

namespace Lumivera {

/// A bundle's folder, opened once and checked before anything in it is used: it must not be a link
/// and may hold files and folders alone. A link could lead out of the bundle, to files of the user
/// that are none of the wallpaper's business. One is accepted and not followed: a link named as the
/// library that comes with this program stands for that library.
class BundleFolder {
  public:
    /// Whose libraries may be loaded. UserAndRoot demands that the folder, all folders above it and
    /// the libraries belong to the user or to root, and that nobody else may write them. A folder
    /// above the bundle may be open to all if it is sticky, as /tmp is: nobody else can remove or
    /// rename what the user has there. A bundle without a library needs no trust.
    enum class Trust { Anybody, UserAndRoot };

    /// Throws a HostError that says what is wrong.
    BundleFolder(const std::string &path, Trust trust);
    ~BundleFolder();

    BundleFolder(BundleFolder &&other) noexcept;
    BundleFolder(const BundleFolder &) = delete;
    BundleFolder &operator=(const BundleFolder &) = delete;

    /// Absolute, and without links.
    const std::string &path() const { return _path; }

    Trust trust() const { return _trust; }

    /// Below it are all files of the bundle; -1 after close().
    int descriptor() const { return _descriptor; }

    /// True for a regular file directly in the folder.
    bool hasFile(const std::string &name) const { return find(name) != nullptr; }

    /// True when that name stands for the library that comes with this program: it is that
    /// library's name, and the bundle holds a link or nothing under it.
    bool standsForOwnLibrary(const std::string &name) const;

    /// Opens a library directly in the folder and checks that it is the file that was there when
    /// the folder was opened, and that it and the folders can be trusted. The caller closes the
    /// descriptor. Throws a HostError.
    int openLibrary(const std::string &name) const;

    /// Closes the folder. Code of the bundle must not run before: from a folder's descriptor it
    /// could reach the folders above.
    void close();

    /// The file name of the library that comes with this program.
    static constexpr const char *kOwnLibrary = "libLumiveraLiveWallpaper.dylib";

    /// Limits of what a bundle may hold.
    static constexpr std::size_t kMaxEntries = 100'000;
    static constexpr std::size_t kMaxDepth = 32;

  private:
    struct File;

    /// A folder in which to go on, and its path for messages.
    struct Place {
        int descriptor;
        std::string path;
        std::size_t depth;
    };

    void openFolder();
    int openParent(const std::string &parent);
    void examine(const Place &place);
    void examineEntry(const Place &place, const std::string &name);
    void judge(const struct stat &status, const std::string &path, bool isAbove);
    std::optional<HostError> distrustOf(const struct stat &status, const std::string &path,
                                        bool isAbove) const;
    const File *find(const std::string &name) const;

    const Trust _trust;
    std::string _path;
    int _descriptor = -1;
    std::vector<File> _files;
    std::size_t _entries = 0;

    /// Why no library of the folder may be loaded.
    std::optional<HostError> _distrust;
};

} // namespace Lumivera
