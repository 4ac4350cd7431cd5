#pragma once

#include "Host/Rendering/FrameSink.h"
#include "Host/Rendering/PlanarFrame.h"
#include "Host/Support/OutputFile.h"
#include "Host/Support/Processes.h"

#include <optional>
#include <vector>

namespace Lumivera {

/// Writes an animated WebP that repeats for ever.
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

/// Sends the frames through a pipe to the ffmpeg program, which writes MP4, WebM and GIF files.
class FilmProgramSink final : public FrameSink {
  public:
    FilmProgramSink(const std::string &path, const Format &format);

    static bool knowsEnding(const std::string &ending);

    void writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) override;
    void finish() override;

  private:
    std::vector<std::string> arguments(const Format &format) const;
    [[noreturn]] void fail();

    OutputFile _file;
    std::optional<PlanarFrame> _planes;
    std::optional<ChildProgram> _program;
};

} // namespace Lumivera
