#pragma once

#include "Host/Wallpapers/WallpaperChoice.h"
#include "Platform/Compositor/DeviceRect.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// A wallpaper's view that runs elsewhere, in memory that was given to it. It runs from the start.
/// Main thread.
class RemoteView {
  public:
    /// Hears of the view in call-outs of the main run loop, never from within a call of the view.
    class Listener {
      public:
        /// A picture that it was allowed to draw is there; what differs from the one before lies
        /// within the rectangles. The view must stay for the call.
        virtual void viewDrew(RemoteView &view, unsigned index,
                              const std::vector<DeviceRect> &rects) = 0;

        /// It has ended by itself, for a reason in words. Hopeless: it would end the same way
        /// again. The listener may delete it right away, and nothing else comes from it.
        virtual void viewEnded(RemoteView &view, const std::string &reason, bool isHopeless) = 0;

      protected:
        ~Listener() = default;
    };

    /// Ends it at once.
    virtual ~RemoteView() = default;

    /// That picture of the memory may be drawn into, once.
    virtual void allowDrawing(unsigned index) = 0;

    /// A view that does not run rests once it has drawn its first picture.
    virtual void setRunning(bool isRunning) = 0;

    /// Those of the values that can change while it runs: all but the bundle and the tint.
    virtual void set(const WallpaperChoice &choice) = 0;

    /// Places and distances in points.
    virtual void tap(CGPoint point) = 0;
    virtual void scrollBy(CGFloat distance) = 0;
    virtual void finishScrolling() = 0;

    /// As it last told; nothing for wallpapers without petals.
    virtual std::optional<std::uint64_t> petals() const = 0;

    /// That it has used, in seconds.
    virtual double cpuTime() const = 0;
};

} // namespace Lumivera
