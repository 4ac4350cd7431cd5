#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"

// A wallpaper that never starts to animate.
extern "C" WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *) {
    return autorelease<DeskTopView>(DeskTopView::initWithFrame(CGRectMake(0, 0, 10, 10)));
}
