#pragma once

#include "Host/Wallpapers/WallpaperSettings.h"
#include "Platform/Compositor/SoftwareCompositor.h"
#include "Platform/Foundation/SimulatedClock.h"
#include "Platform/UIKit/UIScreen.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Lumivera {

/// Pixels in memory that one tree of layers is drawn into. Main thread.
class OffscreenPicture {
  public:
    explicit OffscreenPicture(const PictureSize &size) : _size(size) {}

    std::size_t width() const { return _size.pixelWidth(); }
    std::size_t height() const { return _size.pixelHeight(); }

    /// Draws the tree as it is now: 0xFFRRGGBB, rows from the top; valid until the next call.
    const std::vector<std::uint32_t> &composite(CALayer &root);

    /// Draws it into other memory of the same size. For `age` see CompositorTarget.
    void composite(CALayer &root, std::uint32_t *pixels, unsigned age);

  private:
    const PictureSize _size;
    SoftwareCompositor _compositor;
    std::vector<std::uint32_t> _pixels;
};

/// Writes pixels 0xFFRRGGBB into a new PNG in the user's pictures folder, named after the present
/// time. Gives its path; throws a HostError when it cannot be written.
std::string writeScreenshot(std::span<const std::uint32_t> pixels, std::size_t width,
                            std::size_t height);

/// Sets a simulated clock and a main screen for the object's life. Its end, when no view is left,
/// waits in simulated time for all threads and deferred calls. Main thread.
class SimulatedTime {
  public:
    SimulatedTime(const CGRect &screenBounds, CGFloat screenScale);
    ~SimulatedTime();

    SimulatedTime(const SimulatedTime &) = delete;
    SimulatedTime &operator=(const SimulatedTime &) = delete;

  private:
    std::unique_ptr<SimulatedClock> _clock;
};

} // namespace Lumivera
