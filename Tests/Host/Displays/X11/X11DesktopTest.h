#pragma once

#include "Host/Displays/X11/X11Desktop.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"
#include "Tests/Host/VirtualScreen.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <functional>
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
    void pictureWanted(unsigned index) override;
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
    std::shared_ptr<Lumivera::SharedPicture> memory;
    std::optional<unsigned> wanted;
    int geometryChanges = 0;
    int visibilityChanges = 0;
    int scrollingEnds = 0;
    CGFloat scrolled = 0;
    std::vector<CGPoint> taps;
};

/// A desktop on a server of its own, and a host for it.
class X11DesktopTest : public ::testing::Test, protected Lumivera::Desktop::Listener {
  protected:
    using Desktop = Lumivera::X11Desktop;

    void TearDown() override;

    void startScreen(const std::string &size = "800x600x24",
                     const std::vector<std::string> &options = {});
    pid_t startWindowManager();
    void startCompositingManager();
    void open(const Desktop::Options &options = {});

    /// With a picture on the first output.
    void openWithPicture(const Desktop::Options &options = {});

    void outputAdded(Lumivera::DesktopSurface &surface) override;
    void outputRemoved(Lumivera::DesktopSurface &surface) override;
    void desktopLost(const std::string &reason) override { losses.push_back(reason); }

    /// Serves events until the condition holds; false when it does not in time.
    bool served(const std::function<bool()> &condition);

    /// Whether the first output comes to have that.
    bool isVisibility(Lumivera::SurfaceVisibility visibility);

    SurfaceOwner &owner(std::size_t index = 0) { return *owners.at(index); }
    SurfaceOwner *ownerOf(const std::string &output);

    /// A window of that title and place; its number for xdotool.
    std::string openWindow(const std::string &title, const std::string &geometry,
                           const std::vector<std::string> &more = {});
    void xdotool(const std::string &arguments) { screen->run("xdotool " + arguments); }

    /// What the whole screen shows.
    Retained<CGImage> picture();
    std::uint32_t pixel(int x, int y);

    std::optional<VirtualScreen> screen;
    std::optional<Lumivera::DescriptorWaiter> waiter;
    std::optional<Desktop> desktop;
    std::vector<std::unique_ptr<SurfaceOwner>> owners;
    std::vector<std::string> losses;

  private:
    TemporaryFolder _folder;
};
