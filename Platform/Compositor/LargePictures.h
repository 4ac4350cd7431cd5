#pragma once

#include "Platform/Compositor/ColumnPicture.h"
#include "Platform/Compositor/PictureScaler.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <list>
#include <optional>

/// Large upright pictures, such as a background, prepared once for where they stand on the device,
/// so that a frame only copies them. Only the part that the device shows is kept, and only for as
/// long as every frame uses it.
class LargePictures {
  public:
    /// Each may be as large as the screen.
    static constexpr std::size_t kMostEntries = 4;

    /// The pixels of `area`, where the image's texels lie along the axes as given. Valid until
    /// the end of the frame, or until kMostEntries others were asked for in it. Null where texels
    /// lie on pixels one to one and copying from the image costs less: when the area is drawn
    /// whole, and when the frame before has not shown the same.
    const ColumnPicture *prepared(CGImage &image, const PictureScaler::Axis &x,
                                  const PictureScaler::Axis &y, const DeviceRect &area,
                                  bool isDrawnWhole);

    /// Forgets what was not used since the last call.
    void endFrame();
    void purge() { _entries.clear(); }

  private:
    struct Entry {
        Retained<CGImage> image;
        PictureScaler::Axis x;
        PictureScaler::Axis y;
        DeviceRect area;
        std::optional<ColumnPicture> picture;
        bool isUsed = true;
        bool isNew = true;
    };

    Entry &entryOf(CGImage &image, const PictureScaler::Axis &x, const PictureScaler::Axis &y,
                   const DeviceRect &area);
    void makeRoom();

    std::list<Entry> _entries;
};
