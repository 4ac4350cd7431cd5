#pragma once

#include "Host/Rendering/FrameSink.h"
#include "Host/Rendering/PlanarFrame.h"
#include "Host/Support/ChildProgram.h"

#include <optional>
#include <vector>

namespace Lumivera {

/// A film made by the ffmpeg program, which gets the frames through a pipe.
class FilmProgramSink final : public FrameSink {
  public:
    FilmProgramSink(const std::string &path, const Format &format);
    ~FilmProgramSink() override;

    static bool knowsEnding(const std::string &ending);

    void writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) override;
    void finish() override;

  private:
    std::vector<std::string> arguments(const Format &format) const;
    [[noreturn]] void fail();

    const std::string _path;
    const std::string _target;
    const std::string _temporary;
    std::optional<PlanarFrame> _planes;
    std::optional<ChildProgram> _program;
};

} // namespace Lumivera
