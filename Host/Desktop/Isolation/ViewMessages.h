#pragma once

#include "Host/Playing/Script.h"
#include "Host/Wallpapers/WallpaperSettings.h"
#include "Platform/Compositor/DeviceRect.h"

#include <climits>
#include <cstdint>

/// The messages between the host and a process that runs a wallpaper's view: these records, one a
/// packet, over a socket that keeps packets apart. Both ends are of one build.
namespace Lumivera {

/// The most threads of a view; the host takes as many for an attack.
inline constexpr unsigned kMaxViewThreads = 256;

/// The most log lines of a process; it keeps later ones to itself.
inline constexpr unsigned kMaxLogLines = 1000;

/// The exit status of a process that has called abort().
inline constexpr int kStatusOfAbort = 134;

/// The address space that a view may take, in bytes: three times what one of the largest screens
/// takes. `pictureBytes` is the size of the memory that it shares with the host.
constexpr std::uint64_t maxViewBytes(std::uint64_t width, std::uint64_t height,
                                     std::uint64_t pictureBytes) {
    return (std::uint64_t{768} << 20) + 24 * width * height + pictureBytes;
}

/// What a view may take above that which a person waits for, who may ask for a million petals.
inline constexpr std::uint64_t kMoreAttendedBytes = std::uint64_t{4} << 30;

/// From the host to the view.
struct ViewOrder {
    enum class Kind : std::uint32_t {
        Begin, ///< the first order, once: the memory, its descriptor, and how to draw into it
        Draw,  ///< allows drawing once into buffer `index`
        Run,
        Rest,
        Set,    ///< the values that change
        Tap,    ///< at (x, y)
        Scroll, ///< by x
        FinishScroll,
        Ping, ///< asks for an Answer
    };

    Kind kind = Kind::Ping;
    WallpaperPart part = WallpaperPart::Whole;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t count = 0;
    std::uint32_t index = 0;
    std::uint32_t isInWindow = 0; ///< Begin: a person waits for the view
    std::uint32_t isTraced = 0;   ///< Begin: each frame is told by Trace and Frame
    std::uint32_t seed = 0;       ///< Begin: of the random numbers
    std::uint32_t padding = 0;
    double density = 1;
    double x = 0;
    double y = 0;
    WallpaperBytes values{};
};

static_assert(sizeof(ViewOrder) == 8 * sizeof(std::uint64_t) + sizeof(WallpaperBytes),
              "an order has no padding, which would carry memory of the host to the view");

/// From the host to a process that renders, after Begin. The events of the script follow, in
/// packets of kEventsPerPacket each.
struct RenderingOrder {
    static constexpr std::size_t kEventsPerPacket = 256;

    double width = 0; ///< in points, as the height
    double height = 0;
    std::uint64_t eventCount = 0;
    std::uint64_t frameCount = 0;
    std::uint64_t firstPicture = 0; ///< the first frame that is drawn
    std::uint32_t isTraced = 0;
    std::uint32_t isSeeded = 0;
    std::uint32_t seed = 0;
    char scriptName[PATH_MAX] = {}; ///< for messages
    std::uint32_t isTrial = 0;      ///< frames are measured, events for other views passed over
};

static_assert(sizeof(RenderingOrder) == 7 * sizeof(std::uint64_t) + PATH_MAX &&
                  sizeof(ScriptEvent) == 7 * sizeof(std::uint64_t),
              "they have no padding");

/// From the view to the host, which trusts none of it.
struct ViewReport {
    enum class Kind : std::uint32_t {
        Picture,  ///< buffer `index` is drawn; the first `count` rectangles are the damage
        Petals,   ///< the view has `petals` petals; once after loading, and after each Set of them
        Answer,   ///< to Ping and Rest
        Confined, ///< once, before the bundle is read; `index` has the bits of Sandbox::enter(),
                  ///< and its listener is attached when it has one
        Failure,  ///< the view cannot be made; `text` says why, and the process ends
        Moved,    ///< once at most, before Confined: the process `petals` goes on with the view
        Trace,    ///< `count` bytes of `text`, the next part of a line of the trace
        Log,      ///< a line of the wallpaper's log, `text`; kMaxLogLines at most
        Frame,    ///< the frame is complete, after its Picture and its Trace; in a trial, `index`
                  ///< is the processor time that it took, in microseconds, and `petals` the bytes
                  ///< of memory in use
        Sound,    ///< a sound is to be heard: `text`, its path in the bundle
    };

    static constexpr std::uint32_t kMaxRects = 512;
    static constexpr std::uint32_t kMaxText = 8192;

    Kind kind = Kind::Answer;
    std::uint32_t index = 0;
    std::uint32_t count = 0;
    std::uint64_t petals = 0;
    union {
        DeviceRect rects[kMaxRects];
        char text[kMaxText]; ///< ends with a zero, but for Trace
    };

    ViewReport() : text{} {}
};

} // namespace Lumivera
