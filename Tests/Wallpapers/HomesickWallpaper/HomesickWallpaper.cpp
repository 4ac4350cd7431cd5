#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"

// Is sure that its bundle has a description.

extern "C" WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *bundle) {
    if (!bundle || bundle->pathForResource_ofType("description", "plist").value().empty()) {
        return nullptr;
    }
    return autorelease<DeskTopView>(DeskTopView::initWithFrame(CGRectMake(0, 0, 10, 10)));
}
