#pragma once

#include <optional>
#include <string>

namespace Lumivera {

/// The desktop entry that starts the program when the user's session begins. Every failure is a
/// HostError that names the file.
class AutostartEntry {
  public:
    explicit AutostartEntry(std::string path) : _path(std::move(path)) {}

    /// $XDG_CONFIG_HOME/autostart/lumivera.desktop, in ~/.config by default.
    static std::string standardPath();

    const std::string &path() const { return _path; }

    /// The entry's command line; nothing without an entry or when it is switched off.
    std::optional<std::string> command() const;

    /// Writes the entry for a program given by its absolute path. False when the same entry was
    /// there already.
    bool turnOn(const std::string &program) const;

    /// Removes the entry. False when there was none.
    bool turnOff() const;

    /// The command line for a program's path, escaped as desktop entries require.
    static std::string commandFor(const std::string &program);

  private:
    std::string _path;
};

} // namespace Lumivera
