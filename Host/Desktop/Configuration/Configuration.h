#pragma once

#include "Host/Desktop/Policy/PausePolicy.h"
#include "Host/Displays/Desktop.h"
#include "Host/Wallpapers/WallpaperChoice.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace Lumivera {

/// The contents of the user's configuration file. The keys of a WallpaperChoice are valid at the
/// top, for all outputs, and under [output.NAME], for one; the other keys are valid at the top
/// only.
class Configuration {
  public:
    /// Configures nothing.
    Configuration() = default;

    /// Reads a text in TOML. Throws a HostError that names `path`, the line and the key.
    static Configuration parse(std::string_view text, const std::string &path);

    /// The text of a configuration with another wallpaper for all outputs; the rest of it, comments
    /// and line ends included, stays as it is. Throws a HostError about the file at `path` when the
    /// text is no configuration or cannot be changed.
    static std::string withWallpaper(std::string_view text, const std::string &wallpaper,
                                     const std::string &path);

    /// The choice for all outputs.
    const WallpaperChoice &choice() const { return _choice; }

    /// The choice for one output: the choice for all outputs, overridden by its own.
    WallpaperChoice choiceFor(const std::string &output) const;

    /// The outputs' own choices, by name.
    const std::map<std::string, WallpaperChoice> &outputChoices() const { return _outputChoices; }

    const PauseOptions &pauseOptions() const { return _pauseOptions; }

    /// Empty when the file does not set it; so are the values below.
    std::optional<LayerChoice> layer() const { return _layer; }

    /// True when bundles' own libraries are run even if others can write them.
    std::optional<bool> trusts() const { return _trusts; }

    /// Pixels a point.
    std::optional<CGFloat> density() const { return _density; }

    bool operator==(const Configuration &) const = default;

    /// Makes the wallpapers' paths absolute: those that begin with "~/" start at `home`, other
    /// relative ones at `folder`. Names of installed wallpapers stay.
    void resolvePaths(const std::string &folder, const std::string &home);

    /// True when the two differ in nothing but the wallpaper for all outputs.
    bool isSameButForWallpaper(const Configuration &other) const;

    /// Limit of a text, in bytes.
    static constexpr std::size_t kMaxBytes = 1 << 20;

  private:
    friend class ConfigurationReader;

    WallpaperChoice _choice;
    std::map<std::string, WallpaperChoice> _outputChoices;
    PauseOptions _pauseOptions;
    std::optional<LayerChoice> _layer;
    std::optional<bool> _trusts;
    std::optional<CGFloat> _density;
};

} // namespace Lumivera
