#pragma once

#include <string>
#include <vector>

namespace Lumivera {

/// The host that shows wallpapers on the desktop now, if one runs.
class RunningDesktop {
  public:
    /// `controlFolder` holds its socket.
    explicit RunningDesktop(std::string controlFolder) : _folder(std::move(controlFolder)) {}

    /// The outputs that show the bundle, or are to show it and could not. Throws a HostError when
    /// a host runs that does not answer.
    std::vector<std::string> outputsWith(const std::string &bundle) const;

    /// Makes those outputs load the bundle's files again. Throws a HostError.
    void showAnew(const std::string &bundle) const;

  private:
    const std::string _folder;
};

} // namespace Lumivera
