#pragma once

#include <functional>
#include <string>
#include <sys/types.h>

/// Polls until the condition holds; false when it does not within a time that only a failure takes.
bool eventually(const std::function<bool()> &condition);

bool isInstalled(const std::string &program);

/// What a command line writes to its standard output.
std::string outputOf(const std::string &command);

/// A screen of its own for one test.
class VirtualScreen {
  public:
    VirtualScreen();
    ~VirtualScreen();

    VirtualScreen(const VirtualScreen &) = delete;
    VirtualScreen &operator=(const VirtualScreen &) = delete;

    /// Empty when the server could not be started.
    const std::string &name() const { return _name; }

    /// The output of a command that uses the screen.
    std::string run(const std::string &command) const;

  private:
    pid_t _server = -1;
    std::string _name;
};
