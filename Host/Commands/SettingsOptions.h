#pragma once

#include "Host/Wallpapers/WallpaperSettings.h"

#include <map>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace Lumivera {

/// The options that say how large a picture is to be.
class SizeOptions {
  public:
    void declare(CLI::App &app, const PictureSize &defaults);

    /// What the command line said; a UsageError when it makes no sense.
    PictureSize pictureSize() const;

  private:
    std::string _size;
    CGFloat _density = 1;
};

/// An option for every value that can be set of a wallpaper.
class ValueOptions {
  public:
    void declare(CLI::App &app);

    /// The values that the command line has; a UsageError when one makes no sense.
    WallpaperValues values() const;

  private:
    std::map<std::string_view, std::optional<std::string>> _texts;
};

/// The options that say how a wallpaper is to be shown.
class SettingsOptions {
  public:
    void declare(CLI::App &app, const WallpaperSettings &defaults);

    /// What the command line said; a UsageError when it makes no sense.
    WallpaperSettings settings() const;

  private:
    WallpaperSettings _settings;
    SizeOptions _size;
    ValueOptions _values;
};

} // namespace Lumivera
