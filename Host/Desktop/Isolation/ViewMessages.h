#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <cstdint>

/// What the host and a process that runs a wallpaper's view say to each other: records as they
/// stand here, one a packet, over a socket that keeps packets apart. Both ends are of one build.
namespace Lumivera {

/// From the host to the view.
struct ViewOrder {
    enum class Kind : std::uint32_t {
        Memory, ///< with the memory's descriptor: size, count and density; once, before the view
        Draw,   ///< the picture `index` may be drawn into
        Run,
        Rest,
        Set,    ///< the value of `key`; before Memory: what to begin with
        Tap,    ///< at the point of the numbers
        Scroll, ///< by the first number
        FinishScroll,
        Ping, ///< to be answered
    };

    enum class Key : std::uint32_t { Petals, Speed, Scale, Offset, ScaleLevel, Tint };

    Kind kind = Kind::Ping;
    Key key = Key::Petals;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t count = 0;
    std::uint32_t index = 0;
    double numbers[4] = {0, 0, 0, 0};
};

/// From the view to the host, who trusts none of it.
struct ViewReport {
    enum class Kind : std::uint32_t {
        Picture,  ///< the picture `index` is drawn; what changed is in the first `count` rectangles
        Petals,   ///< the view has `petals` of them
        Answer,   ///< to Ping and Rest
        Confined, ///< once, before the bundle is read; `index` are the bits of Sandbox::enter()
        Failure,  ///< the view cannot be made; `text` says why, and the process ends
    };

    static constexpr std::uint32_t kMostRects = 32;
    static constexpr std::uint32_t kMostText = 1024;

    Kind kind = Kind::Answer;
    std::uint32_t index = 0;
    std::uint32_t count = 0;
    std::uint64_t petals = 0;
    union {
        DeviceRect rects[kMostRects];
        char text[kMostText]; ///< ends with a 0
    };

    ViewReport() : text{} {}
};

} // namespace Lumivera
