#pragma once

#include "Host/Displays/Wayland/WaylandDesktop.h"
#include "Host/Support/DescriptorWaiter.h"
#include "Tests/Host/Displays/Wayland/TestCompositor.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Records a surface's events, gives it buffers of the right size, and draws when asked to.
class SurfaceRecorder final : public Lumivera::DesktopSurface::Listener {
  public:
    explicit SurfaceRecorder(Lumivera::DesktopSurface &surface);

    void surfaceGeometryChanged() override;
    void surfaceVisibilityChanged() override;
    void bufferWanted(unsigned index) override;
    void tapped(CGPoint point) override;
    void scrolledBy(CGFloat distance) override;
    void scrollingEnded() override;

    /// Draws the wanted buffer in one colour and shows it; does nothing when none is wanted.
    void draw(std::uint32_t color, const std::vector<DeviceRect> &rects);
    void draw(std::uint32_t color) { draw(color, {{0, 0, 1 << 20, 1 << 20}}); }

    /// Gives the surface new buffers of its present size.
    void giveMemory();

    Lumivera::DesktopSurface &surface;
    bool givesMemory = true;
    std::optional<unsigned> wanted;
    std::shared_ptr<Lumivera::SharedBuffers> memory;
    std::string heard;  ///< "geometry 640x480*1,visible,tap 3 4,..."
    std::string wishes; ///< indices
};

/// Records outputs, and the events of each surface.
class DesktopRecorder final : public Lumivera::Desktop::Listener {
  public:
    void outputAdded(Lumivera::DesktopSurface &surface) override;
    void outputRemoved(Lumivera::DesktopSurface &surface) override;
    void desktopLost(const std::string &reason) override;

    std::string heard; ///< "+A,-A,"
    std::vector<std::string> losses;
    std::vector<std::unique_ptr<SurfaceRecorder>> surfaces;
};

/// A Wayland desktop on a fake compositor, in real time.
class WaylandDesktopTest : public ::testing::Test {
  protected:
    WaylandDesktopTest();
    ~WaylandDesktopTest() override;

    /// Starts a compositor, whose outputs are added before connect().
    TestCompositor &compositor(const TestCompositor::Options &options = {});
    void connect(Lumivera::LayerChoice choice = Lumivera::LayerChoice::Automatic);
    void disconnect() { _desktop.reset(); }

    /// Starts a compositor with the output "A" of that size, connects the desktop, and configures
    /// it.
    void begin(const TestCompositor::Options &options = {}, const TestCompositor::Mode &mode = {});

    /// Serves the main run loop until the condition holds; false when it does not within seconds.
    static bool runUntil(const std::function<bool()> &condition);

    /// Runs until the client has handled everything that the compositor has sent so far.
    void catchUp();

    /// Draws the wanted buffer of "A" and waits until the compositor has it.
    void show(std::uint32_t color);

    Lumivera::WaylandDesktop &desktop() { return *_desktop; }
    TestCompositor::Surface shown() { return _compositor->surfaceOn("A"); }
    SurfaceRecorder &surface() { return *recorder.surfaces.front(); }

    DesktopRecorder recorder;

  private:
    Lumivera::DescriptorWaiter _waiter;
    std::unique_ptr<TestCompositor> _compositor;
    std::unique_ptr<Lumivera::WaylandDesktop> _desktop;
    int _marks = 0;
};
