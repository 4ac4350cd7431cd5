#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

class DeskTopView;

namespace Lumivera {

/// One thing that happens to a wallpaper before a frame.
struct ScriptEvent {
    enum class Kind {
        Tap,
        Gesture,
        SakuraCount,
        SakuraScaleLevel,
        SpeedLevel,
        Offset,
        Scale,
        TapClipRect,
        SetFrame,
        Pause,
        Resume,
    };

    NSUInteger frame = 0;
    Kind kind = Kind::Tap;

    /// As many as the kind has, in the order in which they are written.
    std::array<double, 4> numbers{};

    /// The event's place in the script, from 0; for messages.
    std::size_t index = 0;

    /// Does it to the view; pause and resume are left to the caller. False when that view has no
    /// such thing. Main thread.
    bool applyTo(DeskTopView &view) const;
};

/// A list of events: {"events": [{"frame": 40, "tap": [160, 240]}, ...]}.
class Script {
  public:
    Script() = default;

    /// A HostError that names `fileName` and the event when the text is no script.
    static Script parse(std::string_view text, const std::string &fileName);
    static Script readFile(const std::string &path);

    /// In the order in which they happen.
    const std::vector<ScriptEvent> &events() const { return _events; }
    const std::string &fileName() const { return _fileName; }

  private:
    std::vector<ScriptEvent> _events;
    std::string _fileName;
};

} // namespace Lumivera
