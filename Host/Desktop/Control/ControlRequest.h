#pragma once

#include "Host/Wallpapers/WallpaperChoice.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace Lumivera {

/// What a program asks a running host for, written as one JSON object in one line:
/// {"do": "tap", "output": "DP-1", "x": 100, "y": 50}.
struct ControlRequest {
    enum class Action {
        Status,
        Pause,
        Resume,
        Choose, ///< "set", "offset" and "wallpaper"
        Forget, ///< "set" with the value "default"
        Tap,
        Screenshot,
        Quit,
    };

    /// In one line, why the text is no request that makes sense; empty when it is one. Only the
    /// identifier is to be used of one that is none.
    std::string problem;

    Action action = Action::Status;

    /// Empty for all outputs.
    std::string output;

    WallpaperChoice choice;

    /// To be forgotten.
    std::string key;

    CGPoint point;

    /// An absolute path.
    std::string file;

    /// What the answer repeats, as JSON; empty without one.
    std::string identifier;

    /// Never throws for what the text holds, and needs no more memory than the text.
    static ControlRequest parse(std::string_view text);

    /// What is wrong with a longer one.
    static std::string lengthProblem();

    /// Longest request, in bytes.
    static constexpr std::size_t kMaximumBytes = std::size_t{64} * 1024;
};

} // namespace Lumivera
