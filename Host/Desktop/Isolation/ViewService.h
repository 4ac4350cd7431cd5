#pragma once

#include "Host/Desktop/Isolation/SharedDisplay.h"
#include "Host/Playing/WallpaperShow.h"
#include "Host/Wallpapers/WallpaperBundle.h"

#include <memory>

namespace Lumivera {

/// A wallpaper's view that does what a host orders. Main thread.
class ViewService final : private DescriptorSource {
  public:
    /// How the view is to begin.
    struct Start {
        WallpaperSettings settings;
        std::unique_ptr<SharedBuffers> memory;
    };

    /// Reads the orders up to the one that brings the memory. A HostError when none comes.
    static Start readStart(const PacketSocket &host);

    ViewService(const PacketSocket &host, Start start, const WallpaperBundle &bundle);
    ~ViewService();

    ViewService(const ViewService &) = delete;
    ViewService &operator=(const ViewService &) = delete;

    /// Until the host ends it or has gone; throws the HostError that ended it.
    void run();

  private:
    int descriptor() const override { return _host.descriptor(); }
    void serve() override;
    void obey(const ViewOrder &order);
    void set(const ViewOrder &order);
    void beginWhenLoaded();
    bool hasLoaded();
    void reportPetals();
    void answer() const;

    const PacketSocket &_host;
    SharedDisplay _display;
    WallpaperShow _show;
    const Clock::Nanoseconds _startTime;
};

} // namespace Lumivera
