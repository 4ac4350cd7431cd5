#include "Host/Commands/SettingsOptions.h"

#include "Host/Wallpapers/ColorText.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

void SettingsOptions::declare(CLI::App &app, const WallpaperSettings &defaults) {
    _settings = defaults;
    _size.declare(app, defaults);
    app.add_option("--scale", _settings.scale, "The wallpaper's own scale, 0.01 to 100")
        ->type_name("S")
        ->check(CLI::Range(0.01, 100.0).description(""));
    app.add_option("--count", _settings.petalCount, "Petals, instead of the bundle's number")
        ->type_name("N")
        ->check(CLI::Range(NSUInteger{0}, kMaximumPetals).description(""));
    app.add_option("--speed", _settings.speedLevel,
                   "Speed level, 0 or more, instead of the bundle's")
        ->type_name("N")
        ->check(CLI::Range(NSInteger{0}, NSInteger{2147483647}).description(""));
    app.add_option("--tint", _tint, "Shades the background: #rgb, #rrggbb, #rrggbbaa or a name")
        ->type_name("COLOUR");
}

WallpaperSettings SettingsOptions::settings() const {
    WallpaperSettings settings = _settings;
    static_cast<PictureSize &>(settings) = _size.pictureSize();
    if (_tint) {
        settings.tint = colorFromText("--tint", *_tint);
    }
    return settings;
}

} // namespace Lumivera
