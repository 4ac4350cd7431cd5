#pragma once

#include "Host/Desktop/Isolation/RemoteView.h"
#include "Host/Displays/Desktop.h"
#include "Host/Support/DeferredCall.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Lumivera {

/// The picture that belongs behind the petals of one transparent surface: opaque, and drawn once by
/// a view of its own, which ends with it. Main thread.
class BackgroundPicture final : private RemoteView::Listener {
  public:
    /// Called in call-outs of the main run loop.
    class Listener {
      public:
        /// There is a new picture.
        virtual void backgroundDrawn() = 0;

        /// The picture that was asked for last, of this bundle, will not come; `reason` is for
        /// people. Called once for each picture.
        virtual void backgroundFailed(const std::string &bundle, const std::string &reason) = 0;

      protected:
        ~Listener() = default;
    };

    /// All that the picture depends on.
    struct Subject {
        std::string bundle; ///< its path
        SurfaceGeometry geometry;

        /// Background, or Whole for a wallpaper that draws no petals apart from its background.
        WallpaperPart part = WallpaperPart::Background;

        /// Only the scale and the tint count.
        WallpaperValues values;

        bool operator==(const Subject &) const = default;
    };

    /// The listener is not owned.
    BackgroundPicture(ViewMaker makeView, Listener &listener);

    BackgroundPicture(const BackgroundPicture &) = delete;
    BackgroundPicture &operator=(const BackgroundPicture &) = delete;

    /// Asks for the picture of a subject, instead of one that is still being drawn. Does nothing
    /// when that was asked for last, even if it has failed. Waits a little before it begins,
    /// because a slider asks for many pictures in a row. True when picture() is that one already.
    bool draw(const Subject &subject);

    /// Makes the next draw() draw, because the bundle may have changed.
    void expire() { _isAskedFor = false; }

    /// Forgets the picture, and ends the view that draws one.
    void clear();

    /// The latest picture, which nobody draws into any more; null when there is none. It has one
    /// buffer.
    const std::shared_ptr<const SharedBuffers> &picture() const { return _picture; }

    /// The picture with a buffer of petals over it, without gaps between rows; empty when there is
    /// none of that size. A HostError when memory cannot be mapped.
    std::vector<std::uint32_t> beneath(const SharedBuffers &petals, unsigned index) const;

  private:
    void viewDrew(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects) override;
    void viewEnded(RemoteView &view, const std::string &reason, bool isHopeless) override;

    void begin();
    void makeView();
    void fail(const std::string &reason);
    void end();
    void finish();

    const ViewMaker _makeView;
    Listener &_listener;

    /// What was asked for last, with nothing but the values that count.
    Subject _subject;
    bool _isAskedFor = false;

    std::shared_ptr<SharedBuffers> _memory;
    std::unique_ptr<RemoteView> _view;
    std::shared_ptr<const SharedBuffers> _picture;
    DeferredCall _begin;
    DeferredCall _finish;
};

} // namespace Lumivera
