#pragma once

#include "Host/Wallpapers/PictureSize.h"
#include "Platform/UIKit/UIImage.h"

#include <string>
#include <vector>

namespace Lumivera {

/// What the gallery shows beside movement: the flowers of a wallpaper, and what is drawn for them.
/// Main thread.
class GalleryPictures {
  public:
    /// Loads the flowers of the bundle, as dense as there are. HostErrors name what is missing.
    explicit GalleryPictures(const std::string &bundlePath);

    /// Flowers are numbered from 0; behind the last one the first follows again.
    const Retained<UIImage> &flower(NSUInteger number) const {
        return _flowers[number % _flowers.size()];
    }

    /// A square to lie under a flower, with a few lines that show how it is tilted.
    const Retained<UIImage> &tile() const { return _tile; }

    /// The colours of the evening, from the top to the bottom.
    static Retained<CGImage> background(const PictureSize &size);

  private:
    std::vector<Retained<UIImage>> _flowers;
    Retained<UIImage> _tile;
};

} // namespace Lumivera
