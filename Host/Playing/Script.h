#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class DeskTopView;

namespace Lumivera {

/// One change of a wallpaper or input to it, before a frame.
struct ScriptEvent {
    enum class Kind : std::uint64_t {
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

    /// The numbers of the event, as many as its kind has, in the order of the script.
    std::array<double, 4> numbers{};

    /// The event's index in the script, for messages.
    std::size_t index = 0;

    /// Applies the event to a view. Pause and resume are the caller's work. False when the view
    /// has no petals and the event needs some. Main thread.
    bool applyTo(DeskTopView &view) const;
};

/// A list of events: {"events": [{"frame": 40, "tap": [160, 240]}, ...]}.
class Script {
  public:
    Script() = default;

    /// Events that are in order already.
    Script(std::vector<ScriptEvent> events, std::string fileName)
        : _events(std::move(events)), _fileName(std::move(fileName)) {}

    /// Throws a HostError that names `fileName` and the event when the text is no script.
    static Script parse(std::string_view text, const std::string &fileName);
    static Script readFile(const std::string &path);

    /// By frame; those of one frame in the order of the script.
    const std::vector<ScriptEvent> &events() const { return _events; }
    const std::string &fileName() const { return _fileName; }

  private:
    std::vector<ScriptEvent> _events;
    std::string _fileName;
};

} // namespace Lumivera
