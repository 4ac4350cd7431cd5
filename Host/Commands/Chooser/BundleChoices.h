#pragma once

#include "Host/Wallpapers/WallpaperBundle.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Lumivera {

/// Finds the bundles that the user may choose from, without loading their libraries.
class BundleChoices {
  public:
    /// The bundles of the folders, then the installed ones, each sorted by name. Of installed
    /// bundles of the same name only the first in the order of Places::wallpaperFolders(). A
    /// HostError for a folder that cannot be read.
    static std::vector<BundleListing> find(const std::vector<std::string> &folders);

    /// The index of a bundle given by path or name; else of the first one without a problem; else
    /// 0.
    static std::size_t indexOf(const std::vector<BundleListing> &bundles,
                               const std::string &bundle);
};

/// Makes a bundle the wallpaper, in the configuration file and in the host that runs. Main thread;
/// blocks until the host answers.
class ChosenWallpaper {
  public:
    /// `configuration` is the file's path, `controlFolder` the folder of the host's socket.
    ChosenWallpaper(std::string configuration, std::string controlFolder);

    /// Returns a line that says what was done. A HostError when the file cannot be written (then
    /// nothing is changed) or when the host refuses the bundle.
    std::string use(const std::string &bundle) const;

  private:
    const std::string _configuration;
    const std::string _controlFolder;
};

} // namespace Lumivera
