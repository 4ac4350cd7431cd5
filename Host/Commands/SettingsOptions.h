#pragma once

#include "Host/Wallpapers/BundleFolder.h"
#include "Host/Wallpapers/WallpaperSettings.h"

#include <map>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace Lumivera {

/// The options for the size of a picture.
class SizeOptions {
  public:
    void declare(CLI::App &app, const PictureSize &defaults);

    /// The size given on the command line; a UsageError when it is invalid.
    PictureSize pictureSize() const;

  private:
    std::string _size;
    CGFloat _density = 1;
};

/// One option for each value of a wallpaper that can be set.
class ValueOptions {
  public:
    void declare(CLI::App &app);

    /// The values given on the command line; a UsageError when one is invalid.
    WallpaperValues values() const;

  private:
    std::map<std::string_view, std::optional<std::string>> _texts;
};

/// All options for how a wallpaper is shown: its size and its values.
class SettingsOptions {
  public:
    void declare(CLI::App &app, const WallpaperSettings &defaults);

    /// The settings given on the command line; a UsageError when one is invalid.
    WallpaperSettings settings() const;

  private:
    WallpaperSettings _settings;
    SizeOptions _size;
    ValueOptions _values;
};

/// The options for whose code runs, and whether behind walls.
class ProtectionOptions {
  public:
    void declare(CLI::App &app);

    BundleFolder::Trust trust() const;
    bool isUnprotected() const { return _isUnprotected; }

  private:
    bool _trusts = false;
    bool _isUnprotected = false;
};

/// The option that keeps views alive while a debugger has stopped them. There is no key for it in
/// the configuration: nobody should forget it there.
void declareNoWatchdog(CLI::App &app, bool &isUnwatched);

} // namespace Lumivera
