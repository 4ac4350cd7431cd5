#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/PointerGestures.h"
#include "Host/Displays/X11/X11Layer.h"
#include "Host/Displays/X11/X11Outputs.h"
#include "Host/Displays/X11/X11PetalShape.h"
#include "Host/Displays/X11/X11Pointer.h"
#include "Host/Displays/X11/X11Presenter.h"
#include "Host/Support/DeferredCall.h"
#include "Platform/Foundation/Clock.h"

#include <deque>
#include <optional>

namespace Lumivera {

/// A window of the type desktop that fills an output: beneath the windows of other programs, or
/// right above the window with the desktop's icons. Pointers pass through it. It is mapped when its
/// first picture is presented. Main thread.
class X11Surface final : public DesktopSurface {
  public:
    /// The connection is not owned.
    X11Surface(X11Connection &connection, const X11Output &output, CGFloat density,
               const X11Layer &layer);
    ~X11Surface() override;

    X11Surface(const X11Surface &) = delete;
    X11Surface &operator=(const X11Surface &) = delete;

    void setListener(Listener *listener) override { _listener = listener; }
    const std::string &outputName() const override { return _output.name; }
    SurfaceGeometry geometry() const override;
    SurfaceVisibility visibility() const override;
    DeviceRect outputArea() const override { return _output.area; }
    SurfaceLayer layer() const override { return _layer.layer; }
    void setBuffers(std::shared_ptr<SharedBuffers> memory) override;
    void present(unsigned index, const std::vector<DeviceRect> &damage) override;
    void withdraw() override;
    void setBackground(std::shared_ptr<const SharedBuffers> picture) override;

    std::uint32_t window() const { return _window; }
    const DeviceRect &area() const { return _output.area; }
    const X11Layer &x11Layer() const { return _layer; }
    bool isMapped() const { return _isMapped; }

    /// The desktop calls these, within call-outs.
    void setArea(const DeviceRect &area);
    void setDensity(CGFloat density);
    void setLayer(const X11Layer &layer);
    void setStackVisibility(SurfaceVisibility visibility);
    void setBlank(bool isBlank);
    void eventArrived(const X11Event &event);

    /// What a pointer does on the empty desktop of this output.
    void servePointer(const X11Pointer::Action &action);

    /// Goes back to its place in the stack, unless it has done so too often of late: two programs
    /// that both want one place would take turns for ever. False then.
    bool restack();

  private:
    void makeWindow();
    void map();
    void showAgain();
    void showShape(const std::vector<DeviceRect> &damage);
    bool updateShape(const std::vector<DeviceRect> &damage);
    void destroyWindow();
    void describe();
    void fixPlace();
    void letPointersThrough();
    void tellGeometryUnless(const SurfaceGeometry &before);
    void tellVisibilityUnless(SurfaceVisibility before);
    void setObscured(bool isObscured);
    void servePress(std::uint8_t button, CGPoint point);

    X11Connection &_connection;
    X11Output _output;
    CGFloat _density;
    X11Layer _layer;
    std::uint32_t _window = 0;
    std::optional<X11Presenter> _presenter;
    std::optional<X11PetalShape> _shape;
    std::shared_ptr<SharedBuffers> _memory;
    std::shared_ptr<const SharedBuffers> _background;
    PointerGestures _gestures;
    Listener *_listener = nullptr;
    SurfaceVisibility _stackVisibility = SurfaceVisibility::Visible;
    std::deque<Clock::Nanoseconds> _restackTimes;
    DeferredCall _obscure;
    bool _isBlank = false;
    bool _isObscured = false;
    bool _isMapped = false;
};

} // namespace Lumivera
