#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/UIKit/UIColor.h"

namespace {

/// Draws an opaque picture without the background view.
class OpaqueView final : public DeskTopView {
  public:
    explicit OpaqueView(const CGRect &frame) : DeskTopView(frame) {
        setBackgroundColor(UIColor::colorWithRed_green_blue_alpha(0, 1, 0, 1).get());
    }

    void initResource() override { startAnimating(); }

  private:
    ~OpaqueView() override = default;
};

} // namespace

extern "C" WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *) {
    return autorelease<DeskTopView>(makeRetained<OpaqueView>(CGRectMake(0, 0, 10, 10)));
}
