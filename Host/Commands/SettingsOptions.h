#pragma once

#include "Host/Commands/SizeOptions.h"
#include "Host/Wallpapers/WallpaperSettings.h"

#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace Lumivera {

/// The options that say how a wallpaper is to be shown.
class SettingsOptions {
  public:
    void declare(CLI::App &app, const WallpaperSettings &defaults);

    /// What the command line said; a UsageError when it makes no sense.
    WallpaperSettings settings() const;

  private:
    WallpaperSettings _settings;
    SizeOptions _size;
    std::optional<std::string> _tint;
};

} // namespace Lumivera
