#pragma once

#include "Host/Support/OutputFile.h"
#include "Platform/Foundation/NSTypes.h"

#include <string>
#include <string_view>

class DeskTopView;

namespace Lumivera {

/// Writes where every petal is, one line of JSON a frame:
/// {"frame": n, "time": t, "layers": [[[name, centreX, centreY, angle, frameWidth, frameHeight],
/// ...], ...]}. Layers are back to front, petals in subview order; numbers read back to the same
/// double; a petal whose picture has no name has null in its place. Main thread.
class TraceWriter {
  public:
    enum class Mode { Whole, Live };

    /// A live trace is written in place, can be read while it grows and stays after a failure; a
    /// whole one appears with finish(). This and the functions below throw a HostError when the
    /// file cannot be written.
    TraceWriter(const std::string &path, Mode mode);
    ~TraceWriter();

    /// `time` in seconds of the media clock.
    void writeFrame(NSUInteger frame, NSTimeInterval time, const DeskTopView &view);

    /// Writes what line() has given.
    void writeLine(std::string_view line);

    void flush();
    void finish();

    /// The line without its line break.
    static std::string line(NSUInteger frame, NSTimeInterval time, const DeskTopView &view);

  private:
    OutputFile _file;
    const Mode _mode;
};

} // namespace Lumivera
