#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Wayland/WaylandLayer.h"
#include "Host/Displays/Wayland/WaylandWindows.h"
#include "Host/Support/DeferredCall.h"
#include "Platform/Foundation/Clock.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

class WaylandBuffers;
class WaylandGlobals;
class WaylandOutput;

/// A wallpaper's surface on a Wayland output. It opens again when the compositor closes it, but
/// gives up when that happens often. Main thread.
class WaylandSurface final : public DesktopSurface {
  public:
    /// The globals and the output must outlive the surface.
    WaylandSurface(const WaylandGlobals &globals, const WaylandOutput &output, WaylandLevel level);
    ~WaylandSurface() override;

    void setListener(Listener *listener) override;
    const std::string &outputName() const override { return _outputName; }
    SurfaceGeometry geometry() const override { return _geometry; }
    SurfaceVisibility visibility() const override { return _visibility; }
    SurfaceLayer layer() const override;

    /// A HostError when the memory is larger than Wayland can share.
    void setBuffers(std::shared_ptr<SharedBuffers> memory) override;
    void present(unsigned index, const std::vector<DeviceRect> &damage) override;
    void withdraw() override;

    /// Acts on the events that were dispatched; `cover` tells how windows hide the output.
    void settle(const WaylandCover &cover);

    /// Moves to another layer; what is shown goes with it.
    void setLevel(WaylandLevel level);

    /// The size of what panels leave of the output, where it is known.
    std::optional<WaylandSize> freeSize() const;

    /// True once the compositor has closed it too often within a short time.
    bool isGivenUp() const { return _isGivenUp; }

    /// Destroys the surface's Wayland objects; later calls do nothing. The connection may be lost
    /// already.
    void die();

    /// The listener for the surface's input; may be null.
    PointerListener *pointerListener() const { return _listener; }

    /// The density, rounded up to whole pixels a point.
    int wholeScale() const;

  private:
    WaylandLayer *usableLayer() const;
    void open();
    void close();
    void removeLayer();
    void updateGeometry();
    SurfaceGeometry geometryOf(WaylandSize size) const;
    void updateVisibility();
    void showAgain();
    void show(const std::vector<DeviceRect> &damage);
    void awaitFrame();
    void frameCame();
    bool awaitsCompositor() const;
    void endWatch();
    void wantBufferSoon();
    void wantBuffer();

    const WaylandGlobals &_globals;
    const WaylandOutput &_output;
    const std::string _outputName;
    WaylandLevel _level;
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
    bool _isStalled = false;
    bool _isGivenUp = false;
    bool _isWithdrawn = false;

    /// When the frame callback was asked for that has not come yet.
    std::optional<Clock::Nanoseconds> _frameAsked;

    /// The late frame callbacks in a row.
    int _lateFrames = 0;

    DeferredCall _reopen;

    /// Pending while the next picture cannot be shown and is not yet overdue.
    DeferredCall _frameOverdue;
    DeferredCall _wantBuffer;
};

} // namespace Lumivera
