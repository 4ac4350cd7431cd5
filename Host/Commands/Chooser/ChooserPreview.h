#pragma once

#include "Host/Commands/Chooser/Thumbnail.h"
#include "Host/Desktop/Isolation/RemoteView.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/UIKit/UIView.h"

#include <memory>
#include <string>

namespace Lumivera {

/// Shows a running wallpaper, drawn by a view process, or a text when there is none. Main thread.
class ChooserPreview final : private RemoteView::Listener {
  public:
    explicit ChooserPreview(ViewMaker makeView);

    UIView &view() { return *_view; }

    /// A new size restarts the view; its last picture is stretched meanwhile.
    void layOut(const CGRect &frame, CGFloat unit, CGFloat density);

    /// Ends the present view and starts one of the bundle when show() is not called again for
    /// kPatience seconds. Shows the stand-in, which may be null, until the first picture.
    void show(const BundleListing &listing, Retained<CGImage> standIn);

    /// Shows a text instead of a wallpaper.
    void say(const std::string &words);

    /// While it does not run, no view is started and the present one is paused. Runs at first.
    void setRunning(bool isRunning);

    /// Taps the wallpaper at a point of the window.
    void tap(CGPoint point);

    static constexpr NSTimeInterval kPatience = 0.2;

  private:
    void viewDrew(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects) override;
    void viewEnded(RemoteView &view, const std::string &reason, bool isHopeless) override;

    void end();
    void begin();
    void beginSoon();
    void write();
    void drawPanel();
    Retained<CGImage> pictureOf(unsigned index);

    const ViewMaker _makeView;
    const Retained<UIView> _view;
    const Retained<UIView> _picture;
    const Retained<UIView> _words;
    RoundCorners _corners;
    std::string _bundle;
    std::string _said;
    CGFloat _unit = 1;
    CGFloat _density = 1;
    std::shared_ptr<SharedBuffers> _memory;
    std::unique_ptr<RemoteView> _remote;
    bool _isRunning = true;
    DeferredCall _begin;
};

} // namespace Lumivera
