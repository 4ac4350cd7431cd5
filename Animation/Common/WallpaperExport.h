#pragma once

/// Marks what the wallpaper library shows to hosts and to other wallpapers; everything else in it
/// is hidden.
#define WALLPAPER_EXPORT __attribute__((visibility("default")))
