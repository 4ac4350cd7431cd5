#pragma once

#include "Host/Commands/Gallery/ExhibitStage.h"
#include "Host/Commands/Gallery/GalleryPictures.h"
#include "Host/Wallpapers/WallpaperSettings.h"
#include "Platform/Foundation/NSTypes.h"

#include <memory>
#include <optional>
#include <vector>

namespace Lumivera {

/// Divides a picture into rows and columns of equal cells with gaps. Cells lie on whole pixels and
/// are empty in a picture that is too small. A last row that is not full is centred.
class GalleryGrid {
  public:
    /// `shape` is the best width of a cell divided by its height. 0 columns stands for the number
    /// that gives the largest cells of that shape.
    GalleryGrid(const PictureSize &size, NSUInteger count, CGFloat shape, NSUInteger columns = 0);

    NSUInteger columns() const { return _columns; }
    NSUInteger rows() const { return (_count + _columns - 1) / _columns; }

    /// The frame of a cell in points.
    CGRect cell(NSUInteger index) const;

    /// The cell at a point; nothing between cells and outside.
    std::optional<NSUInteger> cellAt(CGPoint point) const;

  private:
    NSUInteger bestColumns(CGFloat shape) const;
    CGSize cellPixels(NSUInteger columns) const;

    const CGSize _pixels;
    const CGFloat _density;
    const NSUInteger _count;
    const CGFloat _gap;
    const NSUInteger _columns;
};

/// A card with an exhibit's label and one or several stages side by side. Main thread.
class GalleryCell {
  public:
    /// Leaves out a label that would be too small to read.
    GalleryCell(const Exhibit &exhibit, const GalleryPictures &pictures, const CGRect &frame,
                CGFloat density, NSUInteger stageCount);

    UIView &view() { return *_view; }
    const std::vector<std::unique_ptr<ExhibitStage>> &stages() const { return _stages; }

    void play();
    void hold();

    /// Plays, and holds each stage at another moment. The moments divide the pass evenly; the first
    /// is its beginning.
    void holdMoments();

  private:
    const Exhibit &_exhibit;
    const Retained<UIView> _view;
    std::vector<std::unique_ptr<ExhibitStage>> _stages;
};

/// Shows every exhibit in a grid that fills a picture. Main thread.
class Gallery {
  public:
    struct Options {
        /// 0 stands for the best number.
        NSUInteger columns = 0;

        /// The number of stages on each card.
        NSUInteger stagesPerCell = 1;
    };

    Gallery(const GalleryPictures &pictures, const PictureSize &size, const Options &options);

    Gallery(const Gallery &) = delete;
    Gallery &operator=(const Gallery &) = delete;

    UIView &root() { return *_root; }
    const GalleryGrid &grid() const { return *_grid; }

    /// Restarts in a picture of another size.
    void resize(const PictureSize &size);

    /// Plays every exhibit from its beginning, again and again, or freezes all of them.
    void setPlaying(bool playing);

    /// Holds the stages of each exhibit at different moments; done after the longest pass.
    void holdMoments();

    /// Restarts the exhibit at that point, if there is one and the exhibits play.
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
