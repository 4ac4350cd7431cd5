#include "Animation/Common/WallpaperExport.h"

// A library without an entry point of its own; a library that it links has one.
extern "C" WALLPAPER_EXPORT const char *getDeskTopViewName(void) { return "Borrowing"; }
