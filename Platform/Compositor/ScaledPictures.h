#pragma once

#include "Platform/Compositor/PictureScaler.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <list>

/// Large upright pictures, such as a background, scaled once for where they stand on the device, so
/// that a frame only copies them. Only the part that the device shows is kept, and only for as
/// long as every frame that is painted uses it.
class ScaledPictures {
  public:
    /// Each may be as large as the screen.
    static constexpr std::size_t kMostEntries = 4;

    /// The pixels of `area`, where the image's texels lie along the axes as given. Valid until
    /// the end of the frame, or until kMostEntries others were asked for in it.
    const ColumnPicture &scaled(CGImage &image, const PictureScaler::Axis &x,
                                const PictureScaler::Axis &y, const DeviceRect &area);

    /// Forgets what was not used since the last call.
    void endFrame();
    void purge() { _entries.clear(); }

  private:
    struct Entry {
        Retained<CGImage> image;
        PictureScaler::Axis x;
        PictureScaler::Axis y;
        DeviceRect area;
        ColumnPicture picture;
        bool used;
    };

    void makeRoom();

    std::list<Entry> _entries;
};
