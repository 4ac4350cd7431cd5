#pragma once

#include "Host/Desktop/BackgroundPicture.h"
#include "Host/Desktop/Control/ControlService.h"
#include "Host/Desktop/Isolation/RemoteView.h"
#include "Host/Desktop/LastGoodBundle.h"
#include "Host/Displays/Desktop.h"
#include "Host/Support/DeferredCall.h"
#include "Platform/Foundation/Clock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// Counts frames and measures the recent frame rate.
class FrameRate {
  public:
    void countFrame(Clock::Nanoseconds now);

    std::uint64_t frames() const { return _frames; }

    /// Frames a second over the last 64 frames; 0 when there was none in the last second.
    double perSecond(Clock::Nanoseconds now) const;

  private:
    std::array<Clock::Nanoseconds, 64> _times{};
    std::uint64_t _frames = 0;
};

/// The wallpaper on one output: keeps a view running there, whatever happens to its process. A new
/// view replaces the old one when it has drawn its first picture. A view that ends is restarted;
/// after two ends in a row before it has run for 10 s from its first picture, or one hopeless end,
/// the last good bundle is shown instead, and if that ends too, the shipped one. While nothing is
/// shown yet and the first picture takes long, these two stand in, by the same rule.
///
/// On a transparent surface only the petals are shown, and their background is drawn apart from
/// them: for each wallpaper, and again when its scale changes. A wallpaper whose first picture is
/// opaque almost everywhere would hide what it lies over, such as the icons. So nothing of it is
/// shown there: its view rests, the surface stays clear, and a still picture of the whole wallpaper
/// becomes the background. The log says so. Main thread.
class OutputShow final : private DesktopSurface::Listener,
                         private RemoteView::Listener,
                         private BackgroundPicture::Listener {
  public:
    /// Called in call-outs of the main run loop.
    class Listener {
      public:
        virtual void outputVisibilityChanged() = 0;

        /// A line for the host's log, about a bundle.
        virtual void outputSays(const std::string &output, const std::string &bundle,
                                const std::string &line) = 0;

        /// The background of what a transparent surface shows is drawn, in buffer 0 of `picture`,
        /// or the output has moved.
        virtual void outputBackgroundDrawn(const DesktopSurface & /*surface*/,
                                           const SharedBuffers & /*picture*/) {}

        /// The surface is no longer transparent.
        virtual void outputBackgroundGone(const std::string & /*output*/) {}

      protected:
        ~Listener() = default;
    };

    /// The surface, the last good bundle and the listener are not owned. Nothing is shown before
    /// choose().
    OutputShow(DesktopSurface &surface, ViewMaker makeView, LastGoodBundle &lastGood,
               std::string shippedBundle, Listener &listener);
    ~OutputShow();

    OutputShow(const OutputShow &) = delete;
    OutputShow &operator=(const OutputShow &) = delete;

    const std::string &name() const { return _surface.outputName(); }
    SurfaceVisibility visibility() const { return _surface.visibility(); }

    /// Sets the choice for this output, whose bundle is a path. `isAnew`, another bundle or tint,
    /// or a value that was removed starts a new view; other changes go to the running view.
    void choose(const WallpaperChoice &choice, bool isAnew = false);

    void setRunning(bool isRunning);

    /// Shows half the petals, to spare the battery.
    void setHalved(bool isHalved);

    void tap(CGPoint point);

    /// The status without the reasons for a pause.
    OutputStatus status() const;

    /// Called once with the visible picture as soon as nobody draws into it, or with null when
    /// there is none. Petals alone lie over their background if that is there. Pixels as in
    /// SharedBuffers, valid for the call.
    using PictureReader =
        std::function<void(const std::uint32_t *pixels, unsigned width, unsigned height)>;
    void readPicture(PictureReader reader);

  private:
    /// A view, its buffers and what it was told.
    struct Slot {
        std::string bundle;
        SurfaceGeometry geometry;
        std::shared_ptr<SharedBuffers> memory;
        std::unique_ptr<RemoteView> view;

        /// The values that the view has now.
        WallpaperValues values;

        /// The bundle's own number of petals, which the view reports; used to halve it.
        std::optional<NSUInteger> ownPetals;

        /// The view stands in for the wanted one, which takes long.
        bool isStandIn = false;

        /// The view has run for long enough to be the last good bundle.
        bool isProven = false;

        /// The user has scrolled the view, so its offset is no longer the one in `values`.
        bool isScrolled = false;

        /// The view's picture would hide what the surface lies over, so it is not shown.
        bool isWithheld = false;
    };

    void surfaceGeometryChanged() override;
    void surfaceVisibilityChanged() override { _listener.outputVisibilityChanged(); }
    void bufferWanted(unsigned index) override;
    void tapped(CGPoint point) override { tap(point); }
    void scrolledBy(CGFloat distance) override;
    void scrollingEnded() override;
    void viewDrew(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects) override;
    void viewEnded(RemoteView &view, const std::string &reason, bool isHopeless) override;
    void backgroundDrawn() override;
    void backgroundFailed(const std::string &bundle, const std::string &reason) override;

    bool takesInput() const { return _shown && _isRunning && !_shown->isWithheld; }
    const std::string &candidate() const { return _candidates[_candidateIndex]; }
    void beginChoice();
    void begin();
    std::optional<Slot> makeSlot(const std::string &bundle);
    void beginStandIn();
    void forgetStandIns();
    void show(std::optional<Slot> &coming);
    void present(unsigned index, const std::vector<DeviceRect> &damage);
    void withholdOpaquePicture();
    void updateBackground();
    bool isBackgroundTold() const;
    void tellBackground();
    std::size_t standInIndex() const;
    std::string standInBundle() const;
    void wantedViewEnded(const Slot &slot, const std::string &reason, bool isHopeless);
    void standInEnded(const Slot &slot, const std::string &reason, bool isHopeless);
    std::string description(const std::string &bundle, const std::string &reason) const;
    void fallBack(const std::string &bundle, const std::string &what);
    void say(const std::string &bundle, const std::string &line) {
        _listener.outputSays(name(), bundle, line);
    }
    void updateRunning();
    void prove();
    WallpaperValues valuesFor(const Slot &slot) const;
    void updateValues(std::optional<Slot> &slot);
    void updateAllValues();
    void servePictureReaders();
    void serve(const PictureReader &reader);

    DesktopSurface &_surface;
    const ViewMaker _makeView;
    LastGoodBundle &_lastGood;
    const std::string _shippedBundle;
    Listener &_listener;

    WallpaperChoice _choice;
    std::vector<std::string> _candidates;
    std::size_t _candidateIndex = 0;
    int _quickEnds = 0;

    /// Index of the first candidate that may stand in; at least the one after the wanted one.
    std::size_t _standInIndex = 0;
    int _quickStandInEnds = 0;
    NSTimeInterval _retryDelay = 0;

    /// The view on the surface; the wanted view before its first picture; and a view that is to
    /// stand in, before its own first picture.
    std::optional<Slot> _shown;
    std::optional<Slot> _coming;
    std::optional<Slot> _standIn;

    BackgroundPicture _background;

    /// Where the output was when its background was told last.
    DeviceRect _backgroundArea;
    std::uint32_t _backgroundWindow = 0;

    /// True while the first picture waits for the surface to ask for it.
    bool _isFirstPictureReady = false;
    std::optional<unsigned> _presented;
    FrameRate _frameRate;
    std::uint64_t _taps = 0;
    std::vector<PictureReader> _pictureReaders;
    bool _isRunning = true;
    bool _isHalved = false;

    DeferredCall _begin;
    DeferredCall _beginStandIn;
    DeferredCall _prove;
    DeferredCall _readPictureAnyway;
};

} // namespace Lumivera
