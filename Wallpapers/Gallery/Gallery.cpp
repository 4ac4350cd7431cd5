#include "GalleryView.h"

LUMIVERA_WALLPAPER(GalleryView, "Gallery", "1.0");
