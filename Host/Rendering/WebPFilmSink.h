#pragma once

#include "Host/Rendering/FrameSink.h"
#include "Host/Support/OutputFile.h"

namespace Lumivera {

/// An animated WebP that repeats for ever.
class WebPFilmSink final : public FrameSink {
  public:
    WebPFilmSink(const std::string &path, const Format &format);
    ~WebPFilmSink() override;

    void writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) override;
    void finish() override;

  private:
    class Encoder;

    const Format _format;
    OutputFile _file;
    std::unique_ptr<Encoder> _encoder;
};

} // namespace Lumivera
