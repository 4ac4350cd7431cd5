#pragma once

#include "Platform/Compositor/Compositor.h"

#include <memory>

struct PixelKernels;

/// Draws on the processor, in one thread and with integers: the same tree gives the same bytes on
/// every machine. Pictures are sampled bilinearly and their edges are antialiased; large upright
/// ones are scaled once and kept. Ignores the root's transform, and cuts off what lies behind the
/// viewer of a perspective.
class PLATFORM_EXPORT SoftwareCompositor final : public Compositor {
  public:
    /// Draws with the fastest loops that this processor runs.
    SoftwareCompositor();

    /// Draws with these loops; all give the same bytes.
    explicit SoftwareCompositor(const PixelKernels &kernels);
    ~SoftwareCompositor() override;

    const std::vector<DeviceRect> &composite(CALayer &root, const CompositorTarget &target,
                                             CGFloat scale) override;
    bool isAnimationInProgress() const override;
    void purge() override;

  private:
    class Frames;

    std::unique_ptr<Frames> _frames;
};
