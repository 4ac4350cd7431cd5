#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// A running file manager that draws the desktop of our display, and its profile.
class DesktopProcess {
  public:
    /// Looks for a process of our user that was started with --desktop on the X display that
    /// $DISPLAY names. The folder is /proc, except in tests.
    static std::optional<DesktopProcess> find(const std::string &program,
                                              const std::string &processFolder);

    /// The name given with --profile; `standard` when none was given.
    std::string profile(const std::string &standard) const;

  private:
    explicit DesktopProcess(std::vector<std::string> arguments)
        : _arguments(std::move(arguments)) {}

    std::vector<std::string> _arguments;
};

} // namespace Lumivera
