#pragma once

#include "Host/Displays/X11/X11Desktop.h"
#include "Tests/Host/Displays/X11/X11ScreenTest.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Does what a host does with one surface, and records its events.
class SurfaceOwner final : public Lumivera::DesktopSurface::Listener {
  public:
    /// The colour of a pixel.
    using Color = std::function<std::uint32_t(int x, int y)>;

    explicit SurfaceOwner(Lumivera::DesktopSurface &surface);

    void surfaceGeometryChanged() override { ++geometryChanges; }
    void surfaceVisibilityChanged() override { ++visibilityChanges; }
    void bufferWanted(unsigned index) override;
    void tapped(CGPoint point) override { taps.push_back(point); }
    void scrolledBy(CGFloat distance) override { scrolled += distance; }
    void scrolledDownBy(CGFloat distance) override { scrolledDown += distance; }
    void scrollingEnded() override { ++scrollingEnds; }

    /// Gives the surface buffers of its size.
    void giveMemory();

    /// Fills that part with colours that differ at every place, and presents it.
    void show(const DeviceRect &part, std::uint32_t salt);
    void showAll(std::uint32_t salt);
    void show(const DeviceRect &part, const Color &color);

    static std::uint32_t colorAt(int x, int y, std::uint32_t salt);

    Lumivera::DesktopSurface &surface;
    std::shared_ptr<Lumivera::SharedBuffers> memory;
    std::optional<unsigned> wanted;
    int geometryChanges = 0;
    int visibilityChanges = 0;
    int scrollingEnds = 0;
    CGFloat scrolled = 0;
    CGFloat scrolledDown = 0;
    std::vector<CGPoint> taps;
};

/// A desktop on its own X server, and a host for it.
class X11DesktopTest : public X11ScreenTest, protected Lumivera::Desktop::Listener {
  protected:
    using Desktop = Lumivera::X11Desktop;

    void TearDown() override;

    void open(const Desktop::Options &options = {});

    /// Opens the desktop and shows a picture on the first output.
    void openWithPicture(const Desktop::Options &options = {});

    void outputAdded(Lumivera::DesktopSurface &surface) override;
    void outputRemoved(Lumivera::DesktopSurface &surface) override;
    void desktopLost(const std::string &reason) override { losses.push_back(reason); }

    /// Waits until the first output has that visibility.
    bool isVisibility(Lumivera::SurfaceVisibility visibility);

    SurfaceOwner &owner(std::size_t index = 0) { return *owners.at(index); }
    SurfaceOwner *ownerOf(const std::string &output);

    std::optional<Lumivera::DescriptorWaiter> waiter;
    std::optional<Desktop> desktop;
    std::vector<std::unique_ptr<SurfaceOwner>> owners;
    std::vector<std::string> losses;
};
