#include "Animation/Common/WallpaperExport.h"

// A library that is no wallpaper: it says its name, but makes no view.
extern "C" WALLPAPER_EXPORT const char *getDeskTopViewName(void) { return "None"; }
