#include "Host/Commands/SettingsOptions.h"

#include "Host/Support/HostError.h"

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

void ValueOptions::declare(CLI::App &app) {
    for (const WallpaperChoice::Key &key : WallpaperChoice::keys()) {
        if (!key.option.empty()) {
            app.add_option("--" + std::string(key.option), _texts[key.name],
                           std::string(key.help) + ": " + key.range)
                ->type_name(key.form == WallpaperChoice::Form::Text ? "COLOUR" : "N");
        }
    }
}

WallpaperValues ValueOptions::values() const {
    WallpaperChoice choice;
    for (const auto &[name, text] : _texts) {
        if (text && !choice.trySet(name, *text).empty()) {
            const WallpaperChoice::Key &key = *WallpaperChoice::findKey(name);
            throw UsageError("--" + std::string(key.option),
                             "\"" + *text + "\" is not " + key.range);
        }
    }
    return choice;
}

void SettingsOptions::declare(CLI::App &app, const WallpaperSettings &defaults) {
    _settings = defaults;
    _size.declare(app, defaults);
    _values.declare(app);
}

WallpaperSettings SettingsOptions::settings() const {
    WallpaperSettings settings = _settings;
    static_cast<PictureSize &>(settings) = _size.pictureSize();
    settings.apply(_values.values());
    return settings;
}

void ProtectionOptions::declare(CLI::App &app) {
    app.add_flag("--trust", _trusts, "Runs the bundle's own library even if others can write it");
    app.add_flag("--unprotected", _isUnprotected,
                 "Runs the bundle's code in this very process, for debuggers");
}

void declareNoWatchdog(CLI::App &app, bool &isUnwatched) {
    app.add_flag("--no-watchdog", isUnwatched,
                 "Lets a wallpaper stand still for as long as a debugger wants, and prints its "
                 "process");
}

BundleFolder::Trust ProtectionOptions::trust() const {
    return _trusts ? BundleFolder::Trust::Anybody : BundleFolder::Trust::UserAndRoot;
}

} // namespace Lumivera
