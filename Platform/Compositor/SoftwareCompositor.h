#pragma once

#include "Platform/Compositor/Compositor.h"

#include <memory>

struct PixelKernels;

/// Draws on the processor, in one thread, with integers: the same tree gives the same bytes
/// everywhere. Pictures are sampled bilinearly and their edges are antialiased; large upright ones
/// are scaled once and kept. The root's transform does not count. What lies behind the viewer of a
/// perspective is cut off.
class PLATFORM_EXPORT SoftwareCompositor final : public Compositor {
  public:
    /// Uses the best that this processor has.
    SoftwareCompositor();

    /// Draws with these loops; they all give the same bytes.
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
