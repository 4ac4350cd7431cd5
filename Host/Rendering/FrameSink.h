#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace Lumivera {

/// Where the frames of a rendering go. Whatever was written vanishes again when the sink goes
/// without finish(). Failures are HostErrors that name the file.
class FrameSink {
  public:
    struct Format {
        std::size_t width = 0;
        std::size_t height = 0;
        NSUInteger frameCount = 0;
    };

    virtual ~FrameSink() = default;

    /// False for frames that need not be drawn.
    virtual bool wantsFrame(NSUInteger) const { return true; }

    /// width × height pixels 0xFFRRGGBB, rows from the top. Frames come in order, once each.
    virtual void writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) = 0;

    virtual void finish() = 0;

    /// The sink for a file name: one .png is the last frame, a .png with a number pattern such as
    /// %04d a picture a frame, .webp, .mp4, .webm and .gif are films. Other names are UsageErrors.
    static std::unique_ptr<FrameSink> forPath(const std::string &path, const Format &format);

    /// Throws the UsageError that forPath would.
    static void checkPath(const std::string &path);

    /// True for a name that makes a single picture.
    static bool isOnePicture(const std::string &path);
};

/// Milliseconds that a frame lasts.
inline constexpr int kFrameMilliseconds = 25;

/// How many frames a film of that many seconds has, 1 at least.
NSUInteger framesIn(double seconds);

} // namespace Lumivera
