#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/PointerGestures.h"
#include "Host/Displays/X11/X11Outputs.h"
#include "Host/Displays/X11/X11Presenter.h"

#include <map>

namespace Lumivera {

/// A window of type desktop that fills an output, beneath the windows of other programs. It is
/// mapped when its first picture is presented. Main thread.
class X11Surface final : public DesktopSurface {
  public:
    /// With `clickThrough`, clicks reach what lies beneath. The connection is not owned.
    X11Surface(X11Connection &connection, const X11Output &output, CGFloat density,
               bool clickThrough);
    ~X11Surface() override;

    X11Surface(const X11Surface &) = delete;
    X11Surface &operator=(const X11Surface &) = delete;

    void setListener(Listener *listener) override { _listener = listener; }
    const std::string &outputName() const override { return _output.name; }
    SurfaceGeometry geometry() const override;
    SurfaceVisibility visibility() const override;
    void setBuffers(std::shared_ptr<SharedBuffers> memory) override;
    void present(unsigned index, const std::vector<DeviceRect> &damage) override;

    std::uint32_t window() const { return _window; }
    const DeviceRect &area() const { return _output.area; }

    /// The desktop calls these, within call-outs.
    void setArea(const DeviceRect &area);
    void setDensity(CGFloat density);
    void setStackVisibility(SurfaceVisibility visibility);
    void setBlank(bool isBlank);
    void eventArrived(const X11Event &event);

    /// Goes beneath those windows, unless each of them has come beneath it too often.
    void lowerBeneath(const std::vector<std::uint32_t> &windows);

  private:
    void goBelow();
    void describe();
    void fixPlace();
    void letClicksThrough();
    void tellGeometryUnless(const SurfaceGeometry &before);
    void setObscured(bool isObscured);
    void servePointer(const X11Event &event);
    void servePress(std::uint8_t button, CGPoint point);
    void tellVisibilityUnless(SurfaceVisibility before);

    X11Connection &_connection;
    X11Output _output;
    CGFloat _density;
    const std::uint32_t _window;
    X11Presenter _presenter;
    PointerGestures _gestures;
    Listener *_listener = nullptr;
    SurfaceVisibility _stackVisibility = SurfaceVisibility::Visible;
    std::map<std::uint32_t, unsigned> _lowerings;
    bool _isBlank = false;
    bool _isObscured = false;
    bool _isMapped = false;
};

} // namespace Lumivera
