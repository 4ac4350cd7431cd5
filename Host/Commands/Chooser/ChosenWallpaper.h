#pragma once

#include <string>

namespace Lumivera {

/// Makes a bundle the wallpaper: now, where a host runs, and from now on. Main thread; waits for
/// the host's answer.
class ChosenWallpaper {
  public:
    /// `configuration` is the user's file, and `controlFolder` where a host listens.
    ChosenWallpaper(std::string configuration, std::string controlFolder);

    /// What was done, in one line. A HostError when the file cannot be written, which changes
    /// nothing, or when the host that runs does not take the bundle.
    std::string use(const std::string &bundle) const;

  private:
    const std::string _configuration;
    const std::string _controlFolder;
};

} // namespace Lumivera
