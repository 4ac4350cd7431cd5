#pragma once

#include "Host/Wallpapers/WallpaperSettings.h"
#include "Platform/UIKit/UIImage.h"

#include <string>
#include <vector>

namespace Lumivera {

/// The pictures of the gallery: the flowers of a wallpaper, the tile and the background. Main
/// thread.
class GalleryPictures {
  public:
    /// Loads the bundle's flowers in the highest density. HostErrors name what is missing.
    explicit GalleryPictures(const std::string &bundlePath);

    /// A flower by its number, modulo the number of flowers.
    const Retained<UIImage> &flower(NSUInteger number) const {
        return _flowers[number % _flowers.size()];
    }

    /// A square with a few lines, which shows under a flower how the plane is tilted.
    const Retained<UIImage> &tile() const { return _tile; }

    /// A vertical gradient in evening colours.
    static Retained<CGImage> background(const PictureSize &size);

  private:
    std::vector<Retained<UIImage>> _flowers;
    Retained<UIImage> _tile;
};

} // namespace Lumivera
