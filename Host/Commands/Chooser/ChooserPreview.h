#pragma once

#include "Host/Commands/Chooser/RoundCorners.h"
#include "Host/Desktop/Isolation/ViewSlot.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Wallpapers/BundleListing.h"
#include "Platform/UIKit/UIView.h"

#include <memory>
#include <string>

namespace Lumivera {

/// A wallpaper as it moves, drawn by a view that runs elsewhere; or words where there is nothing to
/// be seen. Main thread.
class ChooserPreview final : private RemoteView::Listener {
  public:
    explicit ChooserPreview(ViewMaker makeView);

    UIView &view() { return *_view; }

    /// A view of another size is begun anew; what it showed is stretched meanwhile.
    void layOut(const CGRect &frame, CGFloat unit, CGFloat density);

    /// Ends the view that was there and begins one of the bundle once nothing else was shown for
    /// kPatience. Until its first picture the stand-in is seen, which may be null.
    void show(const BundleListing &listing, Retained<CGImage> standIn);

    /// Words instead of a wallpaper.
    void say(const std::string &words);

    /// Nothing is begun, and what was begun rests, while it does not run. It runs from the start.
    void setRunning(bool isRunning);

    /// In points of the window.
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
