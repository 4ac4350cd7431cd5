#pragma once

#include <string>
#include <string_view>

namespace Lumivera::ConfigurationText {

/// The text of a configuration with another wallpaper for all outputs; everything else of it,
/// comments and line ends included, stays as it stands. A HostError about `path`, the name of the
/// file, when the text is no configuration or cannot say it.
std::string withWallpaper(std::string_view text, const std::string &wallpaper,
                          const std::string &path);

} // namespace Lumivera::ConfigurationText
