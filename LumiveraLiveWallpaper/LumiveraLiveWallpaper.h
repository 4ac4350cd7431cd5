#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Animation/DeskTopView/DeskTopView.h"

// What a host looks up in a wallpaper library. Main thread.
extern "C" {

/// UTF-8, never null; owned by the library.
WALLPAPER_EXPORT const char *getDeskTopViewName(void);
WALLPAPER_EXPORT const char *getDeskTopViewVersion(void);

/// A new, autoreleased view of the bundle's wallpaper, 320 points wide and as high as the main
/// screen. The caller retains it to keep it. Its resources load 0.5 s later.
WALLPAPER_EXPORT DeskTopView *getDeskTopViewInstance(NSBundle *bundle);
}
