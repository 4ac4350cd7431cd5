#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/UIKit/UIColor.h"

namespace {

/// Shows by its colour what has happened to it: red, or blue after a tap. Its green changes in
/// every frame.
class BeaconView final : public DeskTopView {
  public:
    explicit BeaconView(const CGRect &frame) : DeskTopView(frame) {}

    void initResource() override { startAnimating(); }

    void doAnimating() override {
        _green = (_green + 1) % 64;
        const auto color = UIColor::colorWithRed_green_blue_alpha(_isTapped ? 0 : 1, _green / 255.0,
                                                                  _isTapped ? 1 : 0, 1);
        setBackgroundColor(color.get());
    }

    void tapActionAtViewPoint(CGPoint) override { _isTapped = true; }

  private:
    ~BeaconView() override = default;

    int _green = 0;
    bool _isTapped = false;
};

} // namespace

extern "C" WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *) {
    return autorelease<DeskTopView>(makeRetained<BeaconView>(CGRectMake(0, 0, 10, 10)));
}
