#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"

// A wallpaper that is linked for another base address than 0.
extern "C" WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *) {
    return autorelease<DeskTopView>(DeskTopView::initWithFrame(CGRectMake(0, 0, 20, 20)));
}
