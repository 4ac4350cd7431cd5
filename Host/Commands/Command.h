#pragma once

#include <memory>
#include <vector>

namespace CLI {
class App;
}

namespace Lumivera {

/// A subcommand of the program: its options on the command line and its work. Main thread.
class Command {
  public:
    virtual ~Command() = default;

    /// Declares the command and its options.
    virtual void declare(CLI::App &parent) = 0;

    /// Does the work after the command line was parsed. Failures are HostErrors.
    virtual void run() = 0;

    bool isChosen() const;

  protected:
    CLI::App *_app = nullptr;
};

using Commands = std::vector<std::unique_ptr<Command>>;

/// Runs the commands that the command line names.
void runChosen(const Commands &commands);

/// A command with subcommands, such as `pack`; the user gives one of them. `more` is printed below
/// the help and may be empty.
std::unique_ptr<Command> makeCommandGroup(const char *name, const char *help, const char *more,
                                          Commands commands);

/// All commands, in the order of the help.
Commands allCommands();

/// Each is defined in the .cpp file of its name.
std::unique_ptr<Command> makeRunCommand();
std::unique_ptr<Command> makeDesktopCommand();
std::unique_ptr<Command> makeChooseCommand();
std::unique_ptr<Command> makeCtlCommand();
std::unique_ptr<Command> makeDoctorCommand();
std::unique_ptr<Command> makeRenderCommand();
std::unique_ptr<Command> makeListCommand();
std::unique_ptr<Command> makeCheckCommand();
std::unique_ptr<Command> makeNewCommand();
std::unique_ptr<Command> makeBundleCommand();
std::unique_ptr<Command> makeInstallCommand();
std::unique_ptr<Command> makeUninstallCommand();
std::unique_ptr<Command> makePackCommand();
std::unique_ptr<Command> makeImageCommand();
std::unique_ptr<Command> makeGalleryCommand();
std::unique_ptr<Command> makeAutostartCommand();
std::unique_ptr<Command> makeCompletionsCommand();

} // namespace Lumivera
