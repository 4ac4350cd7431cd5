#include "Host/Commands/CompletionsCommand.h"

#include "Host/Commands/Installing/ShellCompletions.h"
#include "Host/Support/HostError.h"
#include "Host/Support/StandardOutput.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

void CompletionsCommand::declare(CLI::App &parent) {
    _program = &parent;
    _app = parent.add_subcommand("completions", "Prints a script of completions for a shell.");
    _app->group("");
    _app->add_option("SHELL", _shell, "bash, zsh or fish")->required();
}

void CompletionsCommand::run() {
    const ShellCompletions completions(*_program);
    if (_shell == "bash") {
        printToStandardOutput(completions.bash());
    } else if (_shell == "zsh") {
        printToStandardOutput(completions.zsh());
    } else if (_shell == "fish") {
        printToStandardOutput(completions.fish());
    } else {
        throw UsageError(_shell, "is no shell that is known", "use bash, zsh or fish");
    }
}

} // namespace Lumivera
