#include "Lumivera/Wallpaper.h"

// In order but for one thing: it is linked without -z nodelete.

LUMIVERA_WALLPAPER(DeskTopView, "Forgetful", "1");
