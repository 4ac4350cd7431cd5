#pragma once

#include "Host/Desktop/Control/ControlTarget.h"
#include "Host/Desktop/FrameRate.h"
#include "Host/Desktop/Isolation/ViewSlot.h"
#include "Host/Desktop/LastGoodBundle.h"
#include "Host/Support/DeferredCall.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// A wallpaper on one output: keeps a view running there, whatever becomes of its processes. A new
/// view takes the place of the old one with its first picture. One that ends is begun anew; after
/// two ends within 10 s of their start, or a hopeless one, the last good bundle is shown, and if
/// that ends too, the shipped one. While the first picture takes long, they stand in by the same
/// rule. Main thread.
class OutputShow final : private DesktopSurface::Listener, private RemoteView::Listener {
  public:
    /// Hears of the output, in call-outs of the main run loop.
    class Listener {
      public:
        virtual void outputVisibilityChanged() = 0;

        /// Something that whoever looks after the host should know, in words.
        virtual void outputSays(const std::string &line) = 0;

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

    /// Everything that is asked for here; the bundle as a path. What a view can change while it
    /// runs is changed, the rest takes a new view; so does everything when it is to begin anew.
    void choose(const WallpaperChoice &choice, bool isAnew = false);

    void setRunning(bool isRunning);

    /// Half the petals, to spare the battery.
    void setHalved(bool isHalved);

    void tap(CGPoint point);

    /// All but the reasons for a pause.
    OutputStatus status() const;

    /// The picture that is shown, as soon as it is whole; called once, with nothing when there is
    /// none. Pixels as in SharedBuffers, valid for the call.
    using PictureReader =
        std::function<void(const std::uint32_t *pixels, unsigned width, unsigned height)>;
    void readPicture(PictureReader reader);

  private:
    void surfaceGeometryChanged() override;
    void surfaceVisibilityChanged() override { _listener.outputVisibilityChanged(); }
    void bufferWanted(unsigned index) override;
    void tapped(CGPoint point) override { tap(point); }
    void scrolledBy(CGFloat distance) override;
    void scrollingEnded() override;
    void viewDrew(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects) override;
    void viewEnded(RemoteView &view, const std::string &reason, bool isHopeless) override;

    const std::string &candidate() const { return _candidates[_candidateIndex]; }
    void beginChoice();
    void begin();
    std::optional<ViewSlot> makeSlot(const std::string &bundle);
    void beginStandIn();
    void forgetStandIns();
    void show(std::optional<ViewSlot> &coming);
    std::size_t standInIndex() const;
    std::string standInBundle() const;
    void wantedViewEnded(const ViewSlot &slot, const std::string &reason, bool isHopeless);
    void standInEnded(const ViewSlot &slot, const std::string &reason, bool isHopeless);
    std::string description(const ViewSlot &slot, const std::string &reason) const;
    void fallBack(const std::string &what);
    void updateRunning();
    void prove();
    void setEverywhere(const WallpaperChoice &choice);
    void updatePetals();
    void servePictureReaders();

    DesktopSurface &_surface;
    const ViewMaker _makeView;
    LastGoodBundle &_lastGood;
    const std::string _shippedBundle;
    Listener &_listener;

    WallpaperChoice _choice;
    std::vector<std::string> _candidates;
    std::size_t _candidateIndex = 0;
    int _quickEnds = 0;

    /// The first of the candidates that may stand in, where it comes after the one that is wanted.
    std::size_t _standInIndex = 0;
    int _quickStandInEnds = 0;
    NSTimeInterval _retryDelay = 0;

    /// On the surface; the one that is wanted there, until its first picture; one that is shown
    /// while that takes long.
    std::optional<ViewSlot> _shown;
    std::optional<ViewSlot> _coming;
    std::optional<ViewSlot> _standIn;

    /// A first picture that the surface has not asked for yet.
    bool _isFirstPictureReady = false;
    std::optional<unsigned> _presented;
    std::optional<std::uint64_t> _ownPetals;
    FrameRate _frameRate;
    std::vector<PictureReader> _pictureReaders;
    bool _isRunning = true;
    bool _isHalved = false;

    DeferredCall _begin;
    DeferredCall _lendStandIn;
    DeferredCall _prove;
    DeferredCall _readPictureAnyway;
};

} // namespace Lumivera
