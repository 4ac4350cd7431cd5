#pragma once

#include "Host/Displays/SharedBuffers.h"
#include "Host/Wallpapers/WallpaperSettings.h"
#include "Platform/Compositor/DeviceRect.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

/// A wallpaper's view that runs in another process and draws into shared memory. It runs from the
/// start. Main thread.
class RemoteView {
  public:
    /// Called in call-outs of the main run loop, never from within a call of the view.
    class Listener {
      public:
        /// The view has drawn into buffer `index`, as it was allowed to; `rects` is the damage
        /// since the picture before. The listener must not delete the view within the call.
        virtual void viewDrew(RemoteView &view, unsigned index,
                              const std::vector<DeviceRect> &rects) = 0;

        /// The view has ended by itself; `reason` is for people. `isHopeless` tells that it would
        /// end the same way again. The listener may delete it right away; no more calls come from
        /// it.
        virtual void viewEnded(RemoteView &view, const std::string &reason, bool isHopeless) = 0;

        /// A frame of a traced view has ended; `entry` as TraceWriter::entry(). The listener must
        /// not delete the view within this call or viewSounded().
        virtual void viewEndedFrame(RemoteView & /*view*/, std::string_view /*entry*/) {}

        /// The view in a window wants a sound to be heard; `name` is not trusted.
        virtual void viewSounded(RemoteView & /*view*/, const std::string & /*name*/) {}

      protected:
        ~Listener() = default;
    };

    /// Ends the view at once.
    virtual ~RemoteView() = default;

    /// Allows the view to draw once into buffer `index` of its memory.
    virtual void allowDrawing(unsigned index) = 0;

    /// A view that is not to run draws its first picture and then rests. What is set while it rests
    /// is drawn, too.
    virtual void setRunning(bool isRunning) = 0;

    /// Changes the values that `change` has. A tint has no effect: that takes a new view.
    virtual void set(const WallpaperValues &change) = 0;

    /// Positions and distances are in points.
    virtual void tap(CGPoint point) = 0;
    virtual void scrollBy(CGFloat distance) = 0;
    virtual void finishScrolling() = 0;

    /// The number of petals that the view has reported last; nothing for wallpapers without petals.
    virtual std::optional<std::uint64_t> petals() const = 0;

    /// The processor time that the view has used, in seconds.
    virtual double cpuTime() const = 0;
};

/// What a view is made with.
struct ViewRequest {
    std::string bundle; ///< its path
    WallpaperValues values;
    std::shared_ptr<SharedBuffers> memory;
    CGFloat density = 1;

    /// Where it is Petals, the pixels in the memory are premultiplied 0xAARRGGBB.
    WallpaperPart part = WallpaperPart::Whole;

    /// The output that the view is for; empty for a window.
    std::string output = {};
};

/// Makes views; throws a HostError when it cannot make one.
using ViewMaker =
    std::function<std::unique_ptr<RemoteView>(const ViewRequest &, RemoteView::Listener &)>;

} // namespace Lumivera
