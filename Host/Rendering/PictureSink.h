#pragma once

#include "Host/Rendering/FrameSink.h"
#include "Host/Support/OutputFile.h"

namespace Lumivera {

/// One PNG of the last frame.
class PictureSink final : public FrameSink {
  public:
    PictureSink(const std::string &path, const Format &format);

    bool wantsFrame(NSUInteger frame) const override { return frame + 1 == _format.frameCount; }
    void writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) override;
    void finish() override;

  private:
    const Format _format;
    OutputFile _file;
};

} // namespace Lumivera
