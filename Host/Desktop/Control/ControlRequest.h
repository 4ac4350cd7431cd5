#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Wallpapers/WallpaperChoice.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Lumivera {

/// A request to a running host, written as one JSON object in one line:
/// {"do": "tap", "output": "DP-1", "x": 100, "y": 50}.
struct ControlRequest {
    enum class Action {
        Status,
        Pause,
        Resume,
        Choose, ///< "set", "offset" and "wallpaper"
        Forget, ///< "set" with the value "default"
        Tap,
        Cover,
        Screenshot,
        Log,
        Keep,
        Quit,
    };

    /// Why the text is no valid request, in one line; empty when it is valid. An invalid request
    /// has only this and its identifier.
    std::string problem;

    Action action = Action::Status;

    /// Empty for all outputs.
    std::string output;

    WallpaperChoice choice;

    /// The key to forget.
    std::string key;

    CGPoint point;

    /// What is to be seen of the output; nothing when the host shall find out by itself.
    std::optional<SurfaceVisibility> cover;

    /// An absolute path.
    std::string file;

    /// The number of the last line of the log that is known.
    std::uint64_t after = 0;

    /// The "id" that the answer repeats, as JSON; empty without one.
    std::string identifier;

    /// Throws nothing, whatever the text is, and needs no more memory than the text.
    static ControlRequest parse(std::string_view text);

    /// The problem of a request beyond the limit.
    static std::string lengthProblem();

    /// Limit of a request, in bytes.
    static constexpr std::size_t kMaxBytes = std::size_t{64} * 1024;
};

} // namespace Lumivera
