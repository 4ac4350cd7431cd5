#pragma once

namespace Lumivera {

/// The program that a host runs for every output, `lumivera-view SOCKET BUNDLE [--trust]`: runs the
/// bundle's view as the orders that come through the socket say, draws into the memory that comes
/// with them, and reports. It ends with the host. The exit status.
int runViewProgram(int argumentCount, const char *const *arguments);

} // namespace Lumivera
