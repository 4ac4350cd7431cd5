#pragma once

#include "Host/Wallpapers/PictureSize.h"
#include "Platform/Compositor/SoftwareCompositor.h"

#include <cstdint>
#include <vector>

namespace Lumivera {

/// Pixels in memory that one tree of layers is drawn into. Main thread.
class OffscreenPicture {
  public:
    explicit OffscreenPicture(const PictureSize &size) : _size(size) {}

    std::size_t width() const { return _size.pixelWidth(); }
    std::size_t height() const { return _size.pixelHeight(); }

    /// The tree as it is now: 0xFFRRGGBB, rows from the top; valid until the next call.
    const std::vector<std::uint32_t> &composite(CALayer &root);

  private:
    const PictureSize _size;
    SoftwareCompositor _compositor;
    std::vector<std::uint32_t> _pixels;
};

} // namespace Lumivera
