#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"

namespace {

/// Moves its offset by one point a frame and is as wide as its bundle's path is long, so that a
/// host can see that it runs and which bundle it was given. Its speed level tells the latest tap,
/// its clip rectangle where scrolling came to rest.
class TinyView final : public DeskTopView {
  public:
    explicit TinyView(const CGRect &frame) : DeskTopView(frame) {}

    void initResource() override { startAnimating(); }
    void doAnimating() override { setOffset(offset() + 1); }
    void tapActionAtViewPoint(CGPoint point) override { setSpeedLevel(static_cast<int>(point.x)); }
    void scrollingDidFinish(CGFloat position) override {
        setTapClipRect(CGRectMake(position, 0, 1, 1));
    }

  private:
    ~TinyView() override = default;
};

} // namespace

extern "C" {

WALLPAPER_EXPORT const char *getDeskTopViewName(void) { return "Tiny"; }

WALLPAPER_EXPORT const char *getDeskTopViewVersion(void) { return "1"; }

WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *bundle) {
    const auto width = static_cast<CGFloat>(bundle->resourcePath().size());
    return autorelease<DeskTopView>(makeRetained<TinyView>(CGRectMake(0, 0, width, 10)));
}
}
