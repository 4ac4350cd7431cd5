#pragma once

#include "Host/Playing/Show.h"
#include "Host/Support/DeferredCall.h"
#include "Platform/Compositor/SoftwareCompositor.h"
#include "Platform/UIKit/UIView.h"

namespace Lumivera {

/// Shows a tree of views in a window. While it has running animations, it is drawn every frame.
/// Main thread.
class TreeShow : public Show {
  protected:
    /// As Show::Show().
    TreeShow(Window &window, std::optional<double> seconds);

    virtual UIView &root() = 0;

    bool hasChanged() override { return root().layer()->needsComposite(); }
    const std::vector<DeviceRect> &draw(const CompositorTarget &target) override;
    std::string takeScreenshot() override;
    void present() override;

  private:
    SoftwareCompositor _compositor;
    DeferredCall _nextFrame;
};

} // namespace Lumivera
