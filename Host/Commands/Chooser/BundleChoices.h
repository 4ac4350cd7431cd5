#pragma once

#include "Host/Wallpapers/WallpaperBundle.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Lumivera {

/// The bundles that a person may choose from, from their descriptions alone.
class BundleChoices {
  public:
    /// Those of the folders, then the installed ones, by name; of installed ones of the same name
    /// the nearest. A HostError for a folder that cannot be read.
    static std::vector<BundleListing> find(const std::vector<std::string> &folders);

    /// The place of a bundle, given by path or name; else of the first one that is in order; 0 when
    /// there is none.
    static std::size_t indexOf(const std::vector<BundleListing> &bundles,
                               const std::string &bundle);
};

} // namespace Lumivera
