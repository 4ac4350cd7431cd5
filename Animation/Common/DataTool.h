#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/Foundation/PropertyList.h"
#include "Platform/UIKit/UIImage.h"

#include <optional>
#include <string>
#include <vector>

/// Lists wallpaper bundles and reads their descriptions without loading them. Stateless; any
/// thread.
class WALLPAPER_EXPORT DataTool {
  public:
    /// The paths, directory/name, of the entries whose names end in "bundle", sorted by name.
    /// Nothing, and a log line, when the directory cannot be read.
    static std::optional<std::vector<std::string>>
    findDeskTopsBundlePathWithDirectory(const std::string &directory);

    /// The value of the key in the bundle's description, of any type; nothing when the bundle, its
    /// description or the key is missing.
    static std::optional<PropertyList>
    readDeskTopDescriptionWithKey_fromBundleFile(const std::string &key,
                                                 const std::string &bundlePath);

    /// Null when the bundle has none.
    static Retained<UIImage> readDeskTopThumbnailImageFromBundleFile(const std::string &bundlePath);
};
