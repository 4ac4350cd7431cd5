#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Support/DeferredCall.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// A surface whose pictures nobody sees. The owner of its desktop acts as the window system. Main
/// thread.
class HeadlessSurface final : public DesktopSurface {
  public:
    HeadlessSurface(std::string outputName, const SurfaceGeometry &geometry);

    void setListener(Listener *listener) override { _listener = listener; }
    const std::string &outputName() const override { return _outputName; }
    SurfaceGeometry geometry() const override { return _geometry; }
    SurfaceVisibility visibility() const override { return _visibility; }
    void setBuffers(std::shared_ptr<SharedBuffers> memory) override;
    void present(unsigned index, const std::vector<DeviceRect> &damage) override;
    DeviceRect outputArea() const override;
    SurfaceLayer layer() const override;
    void withdraw() override;
    void setBackground(std::shared_ptr<const SharedBuffers> picture) override {
        _background = std::move(picture);
    }

    /// Changes what the window system decides. Call them in call-outs of the main run loop.
    void setGeometry(const SurfaceGeometry &geometry);
    void setVisibility(SurfaceVisibility visibility);

    /// Moves the output to another place of the desktop; at first it lies at (0, 0).
    void moveTo(int left, int top);

    /// Shows the icons in another window than before; 0 at first.
    void setIconsWindow(std::uint32_t window);

    /// Null for none.
    Listener *listener() const { return _listener; }

    /// The buffers of the surface, and what was presented so far.
    SharedBuffers *memory() const { return _memory.get(); }
    std::optional<unsigned> presented() const { return _presented; }
    std::uint64_t presentCount() const { return _presentCount; }
    const SharedBuffers *background() const { return _background.get(); }

  private:
    void wantBuffer();

    const std::string _outputName;
    SurfaceGeometry _geometry;
    int _left = 0;
    int _top = 0;
    std::uint32_t _iconsWindow = 0;
    SurfaceVisibility _visibility = SurfaceVisibility::Visible;
    Listener *_listener = nullptr;
    std::shared_ptr<SharedBuffers> _memory;
    std::shared_ptr<const SharedBuffers> _background;
    std::optional<unsigned> _presented;
    std::uint64_t _presentCount = 0;
    DeferredCall _wantBuffer;
};

/// Outputs that nobody sees, for machines without a screen and for tests. Main thread.
class HeadlessDesktop final : public Desktop {
  public:
    void setListener(Listener *listener) override;
    std::string name() const override { return "headless"; }

    /// Adds an output and tells the listener. The desktop owns the surface.
    HeadlessSurface &addOutput(const std::string &name, const SurfaceGeometry &geometry);
    void removeOutput(const std::string &name);

    /// Null when there is none of that name.
    HeadlessSurface *surface(const std::string &name);

    void lose(const std::string &reason);

  private:
    Listener *_listener = nullptr;
    std::vector<std::unique_ptr<HeadlessSurface>> _surfaces;
};

} // namespace Lumivera
