#pragma once

#include "Host/Desktop/Isolation/SharedWindow.h"
#include "Host/Playing/WallpaperShow.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Wallpapers/WallpaperBundle.h"

#include <memory>

namespace Lumivera {

/// Runs a wallpaper's view as a host orders. Main thread.
class ViewService final : private DescriptorSource {
  public:
    struct Start {
        WallpaperSettings settings;
        std::unique_ptr<SharedBuffers> memory;
        WallpaperPart part = WallpaperPart::Whole;
        bool isInWindow = false;
        bool isTraced = false;
    };

    /// Waits for the order to begin. Throws a HostError when the host has gone.
    static Start readStart(const PacketSocket &host);

    /// The socket and the bundle are not owned.
    ViewService(const PacketSocket &host, Start start, const WallpaperBundle &bundle);
    ~ViewService();

    ViewService(const ViewService &) = delete;
    ViewService &operator=(const ViewService &) = delete;

    /// Returns when the host has gone; throws the HostError of a failure.
    void run();

    DeskTopView &view() { return _show.view(); }

  private:
    int descriptor() const override { return _host.descriptor(); }
    void serve() override;
    void obey(const ViewOrder &order);
    void set(const WallpaperValues &change);
    void beginWhenLoaded();
    void beginIfLoaded();
    bool hasLoaded();
    void reportPetals();
    void answer();

    const PacketSocket &_host;
    SharedWindow _window;
    WallpaperShow _show;
    const Clock::Nanoseconds _startTime;
    DeferredCall _beginWhenLoaded;
    unsigned _answersDue = 0;
    DeferredCall _answer;
};

} // namespace Lumivera
