#pragma once

/// Marks what a wallpaper library, or the kit that wallpapers are made with, shows to others;
/// everything else in it is hidden.
#define WALLPAPER_EXPORT __attribute__((visibility("default")))
