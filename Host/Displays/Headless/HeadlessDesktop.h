#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Headless/HeadlessSurface.h"

#include <memory>
#include <string>
#include <vector>

namespace Lumivera {

/// Outputs without a screen, for machines that have none and for tests. Main thread.
class HeadlessDesktop final : public Desktop {
  public:
    void setListener(Listener *listener) override;
    std::string name() const override { return "headless"; }

    /// A new output, which the listener hears of. The surface stays the desktop's.
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
