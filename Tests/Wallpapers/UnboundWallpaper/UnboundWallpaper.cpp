#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"

// Calls a function that no library has, in its third frame.

extern "C" void functionThatIsNowhere();

namespace {

class UnboundView final : public DeskTopView {
  public:
    explicit UnboundView(const CGRect &frame) : DeskTopView(frame) {}

    void initResource() override { startAnimating(); }

    void doAnimating() override {
        if (++_frame == 3) {
            functionThatIsNowhere();
        }
    }

  private:
    ~UnboundView() override = default;

    int _frame = 0;
};

} // namespace

extern "C" WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *) {
    return autorelease<DeskTopView>(makeRetained<UnboundView>(CGRectMake(0, 0, 10, 10)));
}
