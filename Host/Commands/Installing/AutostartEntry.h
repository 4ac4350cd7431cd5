#pragma once

#include <optional>
#include <string>

namespace Lumivera {

/// The file that lets the desktop environment start the program when the user's session begins.
/// Every failure is a HostError that names the file.
class AutostartEntry {
  public:
    explicit AutostartEntry(std::string path) : _path(std::move(path)) {}

    /// $XDG_CONFIG_HOME/autostart/lumivera.desktop, in ~/.config by default.
    static std::string standardPath();

    const std::string &path() const { return _path; }

    /// The command line that is started; nothing when none is.
    std::optional<std::string> command() const;

    /// Writes the entry for a program given by its absolute path, whole or not at all. False when
    /// it was there already.
    bool turnOn(const std::string &program) const;

    /// Removes the entry. False when there was none.
    bool turnOff() const;

    /// The program's path and arguments as entries write them.
    static std::string commandFor(const std::string &program);

  private:
    std::string _path;
};

} // namespace Lumivera
