#include "Animation/Common/WallpaperExport.h"

// A wallpaper whose entry point lies in the library behind it.
extern "C" WALLPAPER_EXPORT const char *getDeskTopViewName(void) { return "Borrowing"; }
