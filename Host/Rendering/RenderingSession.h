#pragma once

#include "Host/Playing/OffscreenPicture.h"
#include "Host/Playing/Script.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Host/Wallpapers/WallpaperSettings.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace Lumivera {

/// Runs a wallpaper without a display, as fast as it can, under simulated time. Frames are 25 ms
/// apart. Frame 0 is the one in which the view begins to animate; a pause does not stop the count.
/// Main thread; one at a time.
class RenderingSession {
  public:
    struct Options {
        WallpaperSettings settings;

        /// Seeds the random numbers after the resources have loaded, before the first frame.
        std::optional<unsigned> seed;

        Script script;

        /// Whether events that are not for the wallpaper are passed over; else they are failures.
        bool isLenient = false;
    };

    /// Loads the bundle's view and shows its first frame. Throws HostErrors. A view that does not
    /// animate within 10 s counts as a still picture.
    RenderingSession(BundleFolder folder, Options options);
    RenderingSession(const std::string &bundlePath, Options options)
        : RenderingSession(BundleFolder(bundlePath, BundleFolder::Trust::Anybody),
                           std::move(options)) {}
    ~RenderingSession();

    RenderingSession(const RenderingSession &) = delete;
    RenderingSession &operator=(const RenderingSession &) = delete;

    /// Applies the script's events for the next frame and runs until that frame. A pause for frame
    /// 0 takes effect after it.
    void nextFrame();

    NSUInteger frame() const { return _frame; }

    /// The frame's time in seconds of the media clock.
    NSTimeInterval time() const;

    DeskTopView &view() { return *_view; }
    UIView &root() { return *_root; }

    /// The frame's pixels, 0xFFRRGGBB, rows from the top; valid until the next call.
    const std::vector<std::uint32_t> &composite() { return _picture.composite(*_root->layer()); }

    /// The same into other memory of that size. For `age` see CompositorTarget.
    void composite(std::uint32_t *pixels, unsigned age) {
        _picture.composite(*_root->layer(), pixels, age);
    }

    std::size_t pixelWidth() const { return _picture.width(); }
    std::size_t pixelHeight() const { return _picture.height(); }

  private:
    void showFirstFrame();
    void viewIsAboutToBegin();
    void begin();
    void pause();
    void happenBeforeFrame(NSUInteger frame);
    void happen(const ScriptEvent &event);
    Clock::Nanoseconds timeOfFrame(NSUInteger frame) const;

    Options _options;
    SimulatedTime _simulatedTime;
    WallpaperBundle _bundle;
    Retained<UIView> _root;
    Retained<DeskTopView> _view;
    OffscreenPicture _picture;
    Clock::Nanoseconds _firstFrameTime = 0;
    NSUInteger _frame = 0;
    std::size_t _nextEvent = 0;
    bool _isRunning = true;
    bool _hasBegun = false;
};

} // namespace Lumivera
