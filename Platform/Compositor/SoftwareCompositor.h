#pragma once

#include "Platform/Compositor/Compositor.h"

#include <memory>

struct PixelKernels;

/// Draws on the processor, in one thread unless asked for more, with integers: the same tree gives
/// the same bytes everywhere. Pictures are sampled bilinearly and their edges are antialiased;
/// large upright ones are scaled once and kept. The root's transform does not count. What lies
/// behind the viewer of a perspective is cut off.
class PLATFORM_EXPORT SoftwareCompositor final : public Compositor {
  public:
    /// Uses the best that this processor has.
    SoftwareCompositor();

    /// Draws with these loops; they all give the same bytes.
    explicit SoftwareCompositor(const PixelKernels &kernels);
    ~SoftwareCompositor() override;

    /// How many threads draw a picture, the main thread included: 1 at first, 1 to 16. More make a
    /// very large picture ready sooner, for more processor time in all; the others sleep between
    /// pictures. The bytes are the same.
    void setThreads(unsigned count);

    const std::vector<DeviceRect> &composite(CALayer &root, const CompositorTarget &target,
                                             CGFloat scale) override;
    bool isAnimationInProgress() const override;
    void purge() override;

  private:
    class Frames;

    std::unique_ptr<Frames> _frames;
};
