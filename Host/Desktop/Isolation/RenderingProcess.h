#pragma once

#include "Host/Desktop/Isolation/ConfinedProcess.h"
#include "Host/Desktop/Isolation/TraceParts.h"
#include "Host/Displays/SharedBuffers.h"
#include "Host/Playing/Script.h"
#include "Host/Rendering/BundleTrial.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"
#include "Host/Wallpapers/WallpaperSettings.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace Lumivera {

/// Renders a wallpaper in a sandboxed process, which is never trusted: it is killed when it sends a
/// malformed report, takes too much of the kernel, or does not give a frame that is waited for.
/// Uses the main run loop, which must have no other waiter. Main thread.
class RenderingProcess final : private DescriptorSource {
  public:
    /// The processor time that a frame may take, in seconds, and the time by the clock for which a
    /// process that takes none is waited for. Processor time is about the same on a busy machine.
    /// Frames of usual wallpapers take well below a second, the largest pictures a few.
    static constexpr NSTimeInterval kPatience = 60;

    /// The same for a bundle that is checked.
    static constexpr NSTimeInterval kTrialPatience = 5;
    static constexpr NSTimeInterval kIdleTrialPatience = 20;

    struct Start : ConfinedProcess::Confinement {
        std::string bundle; ///< its path
        WallpaperSettings settings;
        std::optional<unsigned> seed;
        Script script;
        NSUInteger frameCount = 1;

        /// The first frame whose picture is wanted; frameCount for none.
        NSUInteger firstPicture = 0;

        bool isTraced = false;

        /// Whether the bundle is checked: there is less patience, frames are measured, and events
        /// that are not for this wallpaper are passed over.
        bool isTrial = false;

        /// What is done instead of rendering; the only frame is its success.
        BundleTrial trial = BundleTrial::None;

        /// Tests judge more time than was taken.
        double timeFactor = 1;
    };

    /// The processor time that a frame of this rendering may take, in seconds.
    static NSTimeInterval patienceFor(const Start &start);

    /// Throws a HostError when there can be no process.
    explicit RenderingProcess(const Start &start);
    ~RenderingProcess();

    RenderingProcess(const RenderingProcess &) = delete;
    RenderingProcess &operator=(const RenderingProcess &) = delete;

    struct Frame {
        /// Empty for a frame without a picture. The process may still change them: they are to be
        /// used only where any value does.
        std::span<const std::uint32_t> pixels;

        /// As TraceWriter::entry(); empty when there is none.
        std::string trace;

        /// In a trial: the processor time that the frame took, all that came before for the first
        /// one, in seconds; and the bytes of memory in use after it.
        double seconds = 0;
        std::uint64_t bytes = 0;
    };

    /// Waits for the next frame, whose pixels are valid until the next call. Null when
    /// NSRunLoop::stop() was called meanwhile. Throws a HostError that names the bundle when the
    /// process has ended or was ended. Not called again after the last frame.
    const Frame *nextFrame();

  private:
    int descriptor() const override { return _process.connection().descriptor(); }
    void serve() override;
    void sendOrders(const Start &start);
    void returnBuffer();
    bool readReports();
    bool take(const ViewReport &report, std::size_t bytes, int &attached);
    bool takePicture(const ViewReport &report);
    bool takeFrame(const ViewReport &report);
    void check();
    void fail(const std::string &reason);

    const std::string _bundle;
    const std::string _scriptName;
    const NSUInteger _firstPicture;
    const bool _isTraced;
    const NSUInteger _frameCount;
    const NSTimeInterval _patience;
    const NSTimeInterval _idlePatience;
    const double _timeFactor;
    SharedBuffers _memory;
    DescriptorWaiter _waiter;
    ConfinedProcess _process;
    DeferredCall _check;
    TraceParts _parts;
    Frame _frame;
    NSUInteger _frameNumber = 0;
    std::optional<std::uint32_t> _buffer;
    std::optional<std::string> _failure;
    bool _isFrameComplete = false;

    /// Since the wait for the frame began: processor time then and at the last check, in seconds,
    /// and the checks in a row at which there was no more.
    double _secondsBefore = 0;
    double _lastSeconds = 0;
    unsigned _idleChecks = 0;
};

} // namespace Lumivera
