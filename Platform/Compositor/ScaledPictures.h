#pragma once

#include "Platform/Compositor/PixelArea.h"

#include <list>
#include <vector>

/// Scales pictures with good filters, each axis by itself. The same picture and numbers give the
/// same pixels on every machine.
namespace PictureScaler {

/// The place of a picture's texels along one axis of the device: texel i reaches from
/// origin + i·size to origin + (i + 1)·size. The size is in pixels and above 0.
struct Axis {
    double origin = 0;
    double size = 1;
    friend bool operator==(const Axis &, const Axis &) = default;
};

/// The pixels of `area`, row by row, with a cubic filter that is widened for reduction so that
/// every texel counts. A pixel that an edge of the picture crosses is covered in part.
PixelBuffer scaled(const Picture &picture, const Axis &x, const Axis &y, const DeviceRect &area);

/// The whole picture in width × height pixels, neither above the picture's own. Each pixel is the
/// exact mean of the part of the picture under it.
PLATFORM_EXPORT PixelBuffer reduced(const Picture &picture, int width, int height);

} // namespace PictureScaler

/// Large upright pictures, such as a background, scaled once for their place on the device, so that
/// a frame only copies them. Keeps only the part that the device shows, and only for as long as
/// every frame that is painted uses it.
class ScaledPictures {
  public:
    /// A small number, because each entry may be as large as the screen.
    static constexpr std::size_t kMaxEntries = 4;

    /// The pixels of `area`, where the image's texels lie along the axes as given. Valid until the
    /// end of the frame, or until kMaxEntries others were asked for in it.
    Picture scaled(CGImage &image, const PictureScaler::Axis &x, const PictureScaler::Axis &y,
                   const DeviceRect &area);

    /// Forgets what was not used since the last call.
    void endFrame();
    void purge() { _entries.clear(); }

  private:
    struct Entry {
        Retained<CGImage> image;
        PictureScaler::Axis x;
        PictureScaler::Axis y;
        DeviceRect area;
        PixelBuffer pixels;
        bool opaque;
        bool isUsed;
    };

    void makeRoom();

    std::list<Entry> _entries;
};
