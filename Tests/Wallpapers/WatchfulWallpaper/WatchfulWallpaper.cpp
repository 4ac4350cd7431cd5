#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Tests/Animation/Support/SakuraProbe.h"

#include <cstdlib>
#include <vector>

// The petal wallpaper, in a library that watches its petals: it ends the process with status 7 when
// a petal's angle, speed or place has changed between two frames, where nothing should move it.

namespace {

struct Motion {
    const Sakura *petal;
    CGPoint center;
    CGFloat angle;
    CGFloat angleStep;
    CppVector2D speed;

    bool operator==(const Motion &) const = default;
};

class WatchfulView final : public LumiveraView {
  public:
    explicit WatchfulView(const CGRect &frame) : LumiveraView(frame) {}

    void doAnimating() override {
        if (_hasBegun && !(motions() == _motions)) {
            std::_Exit(7);
        }
        LumiveraView::doAnimating();
        _motions = motions();
        _hasBegun = true;
    }

  private:
    ~WatchfulView() override = default;

    std::vector<Motion> motions() {
        std::vector<Motion> found;
        for (NSUInteger i = 0; i < subviewCount(); ++i) {
            UIView *layer = subviewAtIndex(i);
            for (NSUInteger j = 0; j < layer->subviewCount(); ++j) {
                if (auto *petal = dynamic_cast<Sakura *>(layer->subviewAtIndex(j))) {
                    SakuraProbe probe(*petal);
                    found.push_back({petal, petal->center(), petal->angle(), probe.angleStep(),
                                     probe.originSpeed()});
                }
            }
        }
        return found;
    }

    std::vector<Motion> _motions;
    bool _hasBegun = false;
};

} // namespace

extern "C" WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *bundle) {
    ImageCache::sharedInstance()->setResBundle(Retained<NSBundle>(bundle));
    return autorelease<DeskTopView>(makeRetained<WatchfulView>(CGRectMake(0, 0, 320, 480)));
}
