#pragma once

#include "Host/Rendering/FrameSink.h"
#include "Host/Rendering/NumberPattern.h"

#include <vector>

namespace Lumivera {

/// A PNG a frame, numbered from 0.
class PictureSequenceSink final : public FrameSink {
  public:
    PictureSequenceSink(NumberPattern pattern, const Format &format);
    ~PictureSequenceSink() override;

    void writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) override;
    void finish() override { _written.clear(); }

  private:
    const NumberPattern _pattern;
    const Format _format;
    std::vector<std::string> _written;
};

} // namespace Lumivera
