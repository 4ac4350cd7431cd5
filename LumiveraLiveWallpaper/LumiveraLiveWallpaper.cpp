#include "LumiveraLiveWallpaper/LumiveraLiveWallpaper.h"

#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/UIKit/UIScreen.h"

namespace {

constexpr CGFloat kStartWidth = 320.0;

} // namespace

const char *getDeskTopViewName(void) { return LumiveraView::name(); }

const char *getDeskTopViewVersion(void) { return LumiveraView::version(); }

DeskTopView *getDeskTopViewInstance(NSBundle *bundle) {
    ImageCache::sharedInstance()->setResBundle(Retained<NSBundle>(bundle));
    const auto screen = UIScreen::mainScreen();
    const CGFloat height = screen ? screen->bounds().size.height : 0;
    auto view = LumiveraView::initWithFrame(CGRectMake(0, 0, kStartWidth, height));
    view->readDescriptionFileWithBundle(bundle);
    return autorelease<DeskTopView>(view);
}
