#include "FirefliesView.h"

LUMIVERA_WALLPAPER(FirefliesView, "Fireflies", "1");
