#include "Host/Commands/SettingsOptions.h"

#include "Host/Wallpapers/ColorText.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

namespace {

std::string textOf(CGSize size) {
    return std::to_string(static_cast<long>(size.width)) + "x" +
           std::to_string(static_cast<long>(size.height));
}

} // namespace

void SizeOptions::declare(CLI::App &app, const PictureSize &defaults) {
    _size = textOf(defaults.size);
    _density = defaults.density;
    app.add_option("--size", _size, "Width and height in points")
        ->type_name("WxH")
        ->default_str(_size);
    app.add_option("--density", _density, "Pixels a point, 0.1 to 10")
        ->type_name("D")
        ->check(CLI::Range(0.1, 10.0).description(""));
}

PictureSize SizeOptions::pictureSize() const {
    const PictureSize size{sizeFromText(_size), _density};
    size.check();
    return size;
}

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
