#include "Host/Commands/PackCommand.h"

#include "Host/Commands/PackCreateCommand.h"
#include "Host/Commands/PackExtractCommand.h"
#include "Host/Commands/PackListCommand.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

PackCommand::PackCommand() {
    _commands.push_back(std::make_unique<PackCreateCommand>());
    _commands.push_back(std::make_unique<PackListCommand>());
    _commands.push_back(std::make_unique<PackExtractCommand>());
}

void PackCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("pack", "Makes, lists and unpacks resource packs of pictures.");
    _app->require_subcommand(1);
    for (const auto &command : _commands) {
        command->declare(*_app);
    }
}

void PackCommand::run() {
    for (const auto &command : _commands) {
        if (command->isChosen()) {
            command->run();
        }
    }
}

} // namespace Lumivera
