#pragma once

#include "Host/Commands/Command.h"
#include "Host/Commands/SettingsOptions.h"
#include "Host/Rendering/RenderingSession.h"

#include <optional>
#include <string>

namespace Lumivera {

class FrameSink;
class TraceWriter;

/// lumivera render: a wallpaper as pictures or a film, without a display.
class RenderCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    NSUInteger frameCount() const;
    RenderingSession::Options sessionOptions() const;
    static void renderFrame(NSUInteger frame, RenderingSession &session, FrameSink *sink,
                            TraceWriter *trace);
    const std::string &subject() const;

    std::string _bundle;
    std::string _output;
    std::string _script;
    std::string _trace;
    SettingsOptions _settings;
    std::optional<unsigned> _seed;
    std::optional<NSUInteger> _frames;
    std::optional<double> _seconds;
};

} // namespace Lumivera
