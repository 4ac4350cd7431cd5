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
/// double; a petal whose picture has no name has null in its place. Frames are counted from 0.
///
/// Of a wallpaper without petals it writes all sublayers of the view but the background's, as the
/// frame shows them: {"frame": n, "time": t, "sublayers": {name: [x, y, angle, frameWidth,
/// frameHeight], ...}}, with the place of the anchor point in the superlayer. A sublayer's name is
/// that of its picture; where an earlier one beside it has the same, "#2" follows, and so on; where
/// it has none, it is its index. The name of a sublayer's superlayer and a slash stand before it.
/// Main thread.
class TraceWriter {
  public:
    enum class Mode { Whole, Live };

    /// A live trace is written in place, can be read while it grows and stays after a failure; a
    /// whole one appears with finish(). This and the functions below throw a HostError when the
    /// file cannot be written.
    TraceWriter(const std::string &path, Mode mode);
    ~TraceWriter();

    /// `time` in seconds of the media clock.
    void writeFrame(NSTimeInterval time, const DeskTopView &view);

    /// Writes the next frame as entry() has given it.
    void writeEntry(std::string_view entry);

    void flush();
    void finish();

    /// What a frame's line has after its number, without the line break.
    static std::string entry(NSTimeInterval time, const DeskTopView &view);

  private:
    OutputFile _file;
    const Mode _mode;
    NSUInteger _nextFrame = 0;
};

} // namespace Lumivera
