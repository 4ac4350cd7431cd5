#pragma once

#include "Host/Support/OutputFolder.h"
#include "Host/Wallpapers/BundleContents.h"

#include <functional>
#include <string>

namespace Lumivera {

/// The folder of the user's own wallpapers, and the bundles in it that were installed, or made of
/// photos. Others that the user has put there are left alone: a file in each of these bundles holds
/// the name under which it was installed. Every failure is a HostError. Any thread; other processes
/// that install at the same time are refused.
class UserWallpapers {
  public:
    explicit UserWallpapers(std::string folder) : _folder(std::move(folder)) {}

    /// Called while files are written, with the bytes so far; an exception ends the installation.
    using Progress = std::function<void(std::uint64_t)>;

    /// The path that a bundle has there, or will have.
    std::string pathOf(const std::string &bundle) const { return _folder + "/" + bundle; }

    /// True when an installed bundle of that name is there. Throws a HostError when something else
    /// has the name, or a bundle in a folder that is searched before.
    bool hasInstalled(const std::string &bundle) const;

    /// Writes the bundle to the disk and then gives it its name, in one step: until then, and after
    /// any failure, everything is as before. One of the name that was installed is replaced;
    /// `replaced` is called before the old files are removed.
    void install(const BundleContents &bundle, const Progress &progress,
                 const std::function<void()> &replaced) const;

    /// Makes a bundle that counts as installed: `make` writes its files and commits the folder. One
    /// of that name that is there is replaced; one that another process makes meanwhile is kept.
    void make(const std::string &bundle, const std::function<void(OutputFolder &)> &make) const;

    /// The folder's name of the installed bundle that a person calls by that name, by the one that
    /// `lumivera list` shows, or by its path. Throws a HostError when there is none or more than
    /// one.
    std::string find(const std::string &argument) const;

    /// Removes an installed bundle whole.
    void uninstall(const std::string &bundle) const;

  private:
    class Lock;

    void makeFolder() const;
    bool wasInstalled(const std::string &bundle) const;

    const std::string _folder;
};

} // namespace Lumivera
