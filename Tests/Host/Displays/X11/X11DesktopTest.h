#pragma once

#include "Host/Displays/X11/X11Desktop.h"
#include "Tests/Host/Displays/X11/X11ScreenTest.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What a host would do with one surface, and what it heard.
class SurfaceOwner final : public Lumivera::DesktopSurface::Listener {
  public:
    explicit SurfaceOwner(Lumivera::DesktopSurface &surface);

    void surfaceGeometryChanged() override { ++geometryChanges; }
    void surfaceVisibilityChanged() override { ++visibilityChanges; }
    void bufferWanted(unsigned index) override;
    void tapped(CGPoint point) override { taps.push_back(point); }
    void scrolledBy(CGFloat distance) override { scrolled += distance; }
    void scrollingEnded() override { ++scrollingEnds; }

    /// Gives it memory of its size.
    void giveMemory();

    /// Fills the part with colors that tell each place from its neighbours, and presents it.
    void show(const DeviceRect &part, std::uint32_t salt);
    void showAll(std::uint32_t salt);

    static std::uint32_t colorAt(int x, int y, std::uint32_t salt);

    Lumivera::DesktopSurface &surface;
    std::shared_ptr<Lumivera::SharedBuffers> memory;
    std::optional<unsigned> wanted;
    int geometryChanges = 0;
    int visibilityChanges = 0;
    int scrollingEnds = 0;
    CGFloat scrolled = 0;
    std::vector<CGPoint> taps;
};

/// A desktop on a server of its own, and a host for it.
class X11DesktopTest : public X11ScreenTest, protected Lumivera::Desktop::Listener {
  protected:
    using Desktop = Lumivera::X11Desktop;

    void TearDown() override;

    void open(const Desktop::Options &options = {});

    /// With a picture on the first output.
    void openWithPicture(const Desktop::Options &options = {});

    void outputAdded(Lumivera::DesktopSurface &surface) override;
    void outputRemoved(Lumivera::DesktopSurface &surface) override;
    void desktopLost(const std::string &reason) override { losses.push_back(reason); }

    /// Whether the first output comes to have that.
    bool isVisibility(Lumivera::SurfaceVisibility visibility);

    SurfaceOwner &owner(std::size_t index = 0) { return *owners.at(index); }
    SurfaceOwner *ownerOf(const std::string &output);

    std::optional<Lumivera::DescriptorWaiter> waiter;
    std::optional<Desktop> desktop;
    std::vector<std::unique_ptr<SurfaceOwner>> owners;
    std::vector<std::string> losses;
};
