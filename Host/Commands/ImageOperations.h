#pragma once

#include "Host/Commands/Command.h"

namespace Lumivera {

/// The commands of lumivera image, in the order of its help.
std::vector<std::unique_ptr<Command>> imageOperations();

} // namespace Lumivera
