#pragma once

#include "Animation/DeskTopView/DeskTopView.h"
#include "Host/Wallpapers/BundleFolder.h"
#include "Platform/Foundation/NSBundle.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// What a bundle's description says about it, read without loading its library.
struct BundleListing {
    std::string path;

    /// From the description, else the folder's name.
    std::string name;
    std::string author;
    std::string summary;
    std::string license;

    /// The library's file name within the bundle; empty for a bundle of pictures alone, which the
    /// library that comes with this program shows.
    std::string library;

    std::optional<std::int32_t> petals;
    std::optional<std::int32_t> speed;

    /// Why the bundle cannot be shown; empty when it can.
    std::string problem;

    static BundleListing read(const std::string &path);

    /// The bundles in a folder, sorted by name. Nothing when the folder cannot be read.
    static std::optional<std::vector<BundleListing>> readFolder(const std::string &folder);
};

/// Throws a HostError unless the desktop would load the bundle's library.
void checkLibraryTrust(const BundleListing &listing);

/// What a host must know of a bundle's description before it loads the library.
struct BundleDescription {
    /// The description's "name", else the folder's name.
    std::string title;

    /// The library's file name; empty for a bundle of pictures alone.
    std::string library;

    /// 0 or more.
    NSInteger fallingSpeed = 0;

    /// Reads that of the bundle at the path. Throws a HostError that says what is wrong.
    static BundleDescription read(const std::string &path);
};

/// A bundle that was checked and whose library is loaded, so that it can make views. Main thread.
class WallpaperBundle {
  public:
    using Trust = BundleFolder::Trust;

    /// Checks the description and loads the library, which stays loaded until the process ends.
    /// Closes the folder. Throws a HostError that says what is wrong. A process that confines
    /// itself opens the folder before and loads the library afterwards.
    explicit WallpaperBundle(BundleFolder folder);

    explicit WallpaperBundle(const std::string &path, Trust trust = Trust::Anybody)
        : WallpaperBundle(BundleFolder(path, trust)) {}

    const std::string &path() const { return _bundle->bundlePath(); }

    const BundleDescription &description() const { return _description; }

    /// Makes a view, whose resources load 0.5 s later. A HostError when the library makes none.
    Retained<DeskTopView> makeView() const;

    /// The same for another bundle, or for none; null when the library makes none.
    Retained<DeskTopView> makeViewOf(NSBundle *bundle) const;

    /// Throws a HostError that names the picture when one that the view needs could not be loaded.
    /// Call it when the view has begun to animate. Views without petals always pass.
    void checkPictures(const DeskTopView &view) const;

  private:
    using EntryPoint = DeskTopView *(*)(NSBundle *);

    void loadLibrary(BundleFolder &folder, const std::string &name);

    const BundleDescription _description;
    const Retained<NSBundle> _bundle;
    EntryPoint _entryPoint = nullptr;
    std::string _libraryPath;
};

} // namespace Lumivera
