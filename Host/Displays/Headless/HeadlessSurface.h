#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Support/DeferredCall.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// A surface whose pictures nobody sees. Whoever owns its desktop plays the window system. Main
/// thread.
class HeadlessSurface final : public DesktopSurface {
  public:
    HeadlessSurface(std::string outputName, const SurfaceGeometry &geometry);

    void setListener(Listener *listener) override { _listener = listener; }
    const std::string &outputName() const override { return _outputName; }
    SurfaceGeometry geometry() const override { return _geometry; }
    SurfaceVisibility visibility() const override { return _visibility; }
    void setMemory(std::shared_ptr<SharedPicture> memory) override;
    void present(unsigned index, const std::vector<DeviceRect> &rects) override;

    /// What the window system does; in call-outs of the main run loop.
    void setGeometry(const SurfaceGeometry &geometry);
    void setVisibility(SurfaceVisibility visibility);

    /// Null for none.
    Listener *listener() const { return _listener; }

    /// What was given and presented so far. The memory holds the picture that would be seen.
    SharedPicture *memory() const { return _memory.get(); }
    std::optional<unsigned> presented() const { return _presented; }
    std::uint64_t presentCount() const { return _presentCount; }

  private:
    void askForPicture();

    const std::string _outputName;
    SurfaceGeometry _geometry;
    SurfaceVisibility _visibility = SurfaceVisibility::Visible;
    Listener *_listener = nullptr;
    std::shared_ptr<SharedPicture> _memory;
    std::optional<unsigned> _presented;
    std::uint64_t _presentCount = 0;
    DeferredCall _askForPicture;
};

} // namespace Lumivera
