#pragma once

#include <memory>
#include <vector>

namespace CLI {
class App;
}

namespace Lumivera {

/// One of the things that the program does: its words on the command line and its work.
class Command {
  public:
    virtual ~Command() = default;

    /// Declares the command and its options. The program then calls run() if it was chosen.
    virtual void declare(CLI::App &parent) = 0;

    /// Does the work; failures are HostErrors.
    virtual void run() = 0;

    bool isChosen() const;

  protected:
    CLI::App *_app = nullptr;
};

/// All of them, in the order of the help.
std::vector<std::unique_ptr<Command>> allCommands();

} // namespace Lumivera
