#pragma once

#include "Host/Desktop/Policy/PausePolicy.h"
#include "Host/Wallpapers/WallpaperChoice.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace Lumivera {

/// What the user's configuration file says. The keys of a WallpaperChoice stand at the top for all
/// outputs and under [output.NAME] for one; the others stand at the top.
class Configuration {
  public:
    /// Nothing is configured.
    Configuration() = default;

    /// Reads a text in TOML. A HostError names `path`, the line and the key that it does not
    /// understand.
    static Configuration parse(std::string_view text, const std::string &path);

    /// For all outputs, without what is said for one.
    const WallpaperChoice &choice() const { return _choice; }

    /// For one output: what is said for all, and over it what is said for this one.
    WallpaperChoice choiceFor(const std::string &output) const;

    /// What is said for one output alone, by the outputs' names.
    const std::map<std::string, WallpaperChoice> &outputChoices() const { return _outputChoices; }

    const PauseOptions &pauseOptions() const { return _pauseOptions; }

    /// Without values the command line decides, or the program.
    std::optional<bool> isClickThrough() const { return _isClickThrough; }

    /// Whether bundles' own libraries are run whoever can write them.
    std::optional<bool> trusts() const { return _trusts; }

    /// Pixels a point.
    std::optional<CGFloat> density() const { return _density; }

    bool operator==(const Configuration &) const = default;

    /// Lets wallpapers' paths that begin with "~/" lead from the user's home, and other relative
    /// ones from `folder`. Names of installed ones stay.
    void resolvePaths(const std::string &folder, const std::string &home);

    /// Equal but for what is shown on all outputs.
    bool isSameButForWallpaper(const Configuration &other) const;

    /// Largest text, in bytes.
    static constexpr std::size_t kMaximumBytes = 1 << 20;

  private:
    friend class ConfigurationReader;

    WallpaperChoice _choice;
    std::map<std::string, WallpaperChoice> _outputChoices;
    PauseOptions _pauseOptions;
    std::optional<bool> _isClickThrough;
    std::optional<bool> _trusts;
    std::optional<CGFloat> _density;
};

} // namespace Lumivera
