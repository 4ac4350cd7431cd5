#include "Host/Commands/Command.h"

#include "Host/Commands/AutostartCommand.h"
#include "Host/Commands/ChooseCommand.h"
#include "Host/Commands/CompletionsCommand.h"
#include "Host/Commands/CtlCommand.h"
#include "Host/Commands/DesktopCommand.h"
#include "Host/Commands/DoctorCommand.h"
#include "Host/Commands/GalleryCommand.h"
#include "Host/Commands/ImageCommand.h"
#include "Host/Commands/ListCommand.h"
#include "Host/Commands/PackCommand.h"
#include "Host/Commands/RenderCommand.h"
#include "Host/Commands/RunCommand.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

bool Command::isChosen() const { return _app && _app->parsed(); }

std::vector<std::unique_ptr<Command>> allCommands() {
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(std::make_unique<RunCommand>());
    commands.push_back(std::make_unique<DesktopCommand>());
    commands.push_back(std::make_unique<ChooseCommand>());
    commands.push_back(std::make_unique<CtlCommand>());
    commands.push_back(std::make_unique<DoctorCommand>());
    commands.push_back(std::make_unique<RenderCommand>());
    commands.push_back(std::make_unique<ListCommand>());
    commands.push_back(std::make_unique<PackCommand>());
    commands.push_back(std::make_unique<ImageCommand>());
    commands.push_back(std::make_unique<GalleryCommand>());
    commands.push_back(std::make_unique<AutostartCommand>());
    commands.push_back(std::make_unique<CompletionsCommand>());
    return commands;
}

} // namespace Lumivera
