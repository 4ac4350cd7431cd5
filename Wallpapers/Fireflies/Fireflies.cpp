#include "Animation/Common/ImageCache.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/UIKit/UIScreen.h"
#include "Wallpapers/Fireflies/FirefliesView.h"

namespace {

constexpr CGFloat kStartWidth = 320;

} // namespace

extern "C" {

WALLPAPER_EXPORT const char *getDeskTopViewName(void) { return "Fireflies"; }

WALLPAPER_EXPORT const char *getDeskTopViewVersion(void) { return "1"; }

WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *bundle) {
    ImageCache::sharedInstance()->setResBundle(Retained<NSBundle>(bundle));
    const auto screen = UIScreen::mainScreen();
    const CGFloat height = screen ? screen->bounds().size.height : 0;
    return autorelease<DeskTopView>(
        makeRetained<FirefliesView>(CGRectMake(0, 0, kStartWidth, height)));
}
}
