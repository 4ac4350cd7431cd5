#include "Host/Commands/Command.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

namespace {

class CommandGroup final : public Command {
  public:
    CommandGroup(const char *name, const char *help, const char *more, Commands commands)
        : _name(name), _help(help), _more(more), _commands(std::move(commands)) {}

    void declare(CLI::App &parent) override {
        _app = parent.add_subcommand(_name, _help);
        _app->footer(_more);
        _app->require_subcommand(1);
        for (const auto &command : _commands) {
            command->declare(*_app);
        }
    }

    void run() override { runChosen(_commands); }

  private:
    const char *const _name;
    const char *const _help;
    const char *const _more;
    const Commands _commands;
};

} // namespace

bool Command::isChosen() const { return _app && _app->parsed(); }

void runChosen(const Commands &commands) {
    for (const auto &command : commands) {
        if (command->isChosen()) {
            command->run();
        }
    }
}

std::unique_ptr<Command> makeCommandGroup(const char *name, const char *help, const char *more,
                                          Commands commands) {
    return std::make_unique<CommandGroup>(name, help, more, std::move(commands));
}

Commands allCommands() {
    Commands commands;
    for (const auto make :
         {makeRunCommand, makeDesktopCommand, makeChooseCommand, makeCtlCommand, makeDoctorCommand,
          makeRenderCommand, makeListCommand, makeCheckCommand, makeNewCommand, makeBundleCommand,
          makeInstallCommand, makeUninstallCommand, makePackCommand, makeImageCommand,
          makeGalleryCommand, makeAutostartCommand, makeCompletionsCommand}) {
        commands.push_back(make());
    }
    return commands;
}

} // namespace Lumivera
