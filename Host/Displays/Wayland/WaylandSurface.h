#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Wayland/WaylandLayer.h"
#include "Host/Displays/Wayland/WaylandToplevels.h"
#include "Platform/Foundation/Clock.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

class WaylandBuffers;
class WaylandGlobals;
class WaylandOutput;

/// A wallpaper's place on a Wayland output. A compositor that closes it finds it coming again, but
/// not for ever. Main thread.
class WaylandSurface final : public DesktopSurface {
  public:
    /// All outlive the surface.
    WaylandSurface(const WaylandGlobals &globals, const WaylandOutput &output, bool clickThrough);
    ~WaylandSurface() override;

    void setListener(Listener *listener) override;
    const std::string &outputName() const override { return _outputName; }
    SurfaceGeometry geometry() const override { return _geometry; }
    SurfaceVisibility visibility() const override { return _visibility; }

    /// A HostError when the memory is larger than Wayland can share.
    void setMemory(std::shared_ptr<SharedPicture> memory) override;
    void present(unsigned index, const std::vector<DeviceRect> &rects) override;

    /// Acts on what came in a turn of events; `cover` is what is known of the windows before it.
    void settle(const WaylandCover &cover);

    /// True when the compositor has closed it too often within a short time.
    bool isGivenUp() const { return _isGivenUp; }

    /// The connection is lost: from now on nothing happens any more.
    void die();

    /// Who hears of its input; null for nobody.
    PointerListener *pointerListener() const { return _listener; }

    /// Whole pixels a point, at least as many as there are.
    int wholeScale() const;

  private:
    WaylandLayer *usableLayer() const;
    void open();
    void close();
    void updateGeometry();
    SurfaceGeometry geometryOf(WaylandSize size) const;
    void updateVisibility();
    void showAgain();
    void show(const std::vector<DeviceRect> &rects);
    void watchFrame();
    void endWatch();
    void wantPictureSoon();
    void wantPicture();

    const WaylandGlobals &_globals;
    const WaylandOutput &_output;
    const bool _isClickThrough;
    const std::string _outputName;
    const std::string _openCall;
    const std::string _frameCall;
    const std::string _pictureCall;
    Listener *_listener = nullptr;

    std::unique_ptr<WaylandLayer> _layer;
    std::vector<Clock::Nanoseconds> _closings;
    WaylandSize _size;
    SurfaceGeometry _geometry;
    SurfaceVisibility _visibility = SurfaceVisibility::Visible;
    WaylandCover _cover;

    std::unique_ptr<WaylandBuffers> _buffers;
    std::vector<std::unique_ptr<WaylandBuffers>> _retired;
    int _wholeScale = 1;
    std::optional<unsigned> _wanted;
    std::optional<unsigned> _shown;
    bool _mustShowAgain = false;
    bool _isWatched = false;
    bool _isStalled = false;
    bool _isGivenUp = false;
};

} // namespace Lumivera
