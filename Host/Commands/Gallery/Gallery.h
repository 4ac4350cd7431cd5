#pragma once

#include "Host/Commands/Gallery/GalleryCell.h"
#include "Host/Commands/Gallery/GalleryGrid.h"

#include <memory>
#include <optional>
#include <vector>

namespace Lumivera {

/// Every exhibit in a grid that fills a picture. Main thread; what it plays, it plays in call-outs
/// of the main run loop.
class Gallery {
  public:
    struct Options {
        /// 0: as fits best.
        NSUInteger columns = 0;

        /// How often each exhibit stands side by side on its card.
        NSUInteger stagesPerCell = 1;
    };

    Gallery(const GalleryPictures &pictures, const PictureSize &size, const Options &options);

    Gallery(const Gallery &) = delete;
    Gallery &operator=(const Gallery &) = delete;

    UIView &root() { return *_root; }
    const GalleryGrid &grid() const { return *_grid; }

    /// Begins anew in a picture of another size.
    void resize(const PictureSize &size);

    /// Plays every exhibit from its beginning, round after round, or holds them all as they are.
    void setPlaying(bool playing);

    /// Holds each exhibit at several moments, as far as the cells have stages. Takes as long as the
    /// longest pass.
    void holdMoments();

    /// Begins the exhibit at that point anew, if there is one and unless they are held.
    void restartAt(CGPoint point);

  private:
    void layOut(const PictureSize &size);

    const GalleryPictures &_pictures;
    const Options _options;
    const Retained<UIView> _root;
    std::optional<GalleryGrid> _grid;
    std::vector<std::unique_ptr<GalleryCell>> _cells;
    bool _isPlaying = false;
};

} // namespace Lumivera
