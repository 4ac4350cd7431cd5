#pragma once

#include "Host/Support/Processes.h"
#include "Platform/Foundation/NSTypes.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace Lumivera {

/// Milliseconds that a frame lasts.
inline constexpr int kFrameMilliseconds = 25;

/// How many frames a film of that many seconds has, at least 1.
NSUInteger framesIn(double seconds);

/// Takes the frames of a rendering and writes them to files. The destructor removes what was
/// written unless finish() was called. Failures are HostErrors that name the file.
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

    /// The sink for a file name: NAME.png takes the last frame, a PNG name with a number pattern
    /// such as %04d a picture a frame, .webp, .mp4, .webm and .gif are films. Other names are
    /// UsageErrors.
    static std::unique_ptr<FrameSink> forPath(const std::string &path, const Format &format);

    /// Throws the UsageError that forPath would throw.
    static void checkPath(const std::string &path);

    /// True for a name that stands for a single picture.
    static bool isOnePicture(const std::string &path);
};

/// Renders frame after frame, shows the progress on the terminal and stops at a signal that ends
/// programs. Made on the main thread before any other thread starts.
class RenderingRun {
  public:
    /// `subject` is the output file's name, for messages.
    explicit RenderingRun(std::string subject);

    /// Calls `render` for every frame in order, from 0. A signal stops the main run loop; then this
    /// throws a HostError.
    void renderFrames(NSUInteger count, const std::function<void(NSUInteger frame)> &render) const;

  private:
    const std::string _subject;
    std::atomic<bool> _isInterrupted{false};
    const SignalWatch _signals;
};

} // namespace Lumivera
