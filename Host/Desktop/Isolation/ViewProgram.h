#pragma once

#include "Host/Desktop/Isolation/ViewMessages.h"
#include "Host/Support/PacketSocket.h"

#include <cstdint>
#include <exception>

namespace Lumivera {

/// The program that a host runs for every view and for every rendering, `lumivera-view SOCKET
/// BUNDLE [--render [--trial=NAME]] [--trust]`: confines itself and serves the view of the bundle
/// to the host at the other end of the socket. It ends with the host. `--walls=BITS` leaves out
/// walls of the sandbox, for tests. Returns the exit status.
int runViewProgram(int argumentCount, const char *const *arguments);

/// Reports the failure to the host and ends the process at once, without exit handlers and static
/// destructors: the wallpaper's own may hang.
[[noreturn]] void endWithFailure(const PacketSocket &host, const std::exception &error);

/// Reports to the host that something of that kind has happened.
void sendReport(const PacketSocket &host, ViewReport::Kind kind, std::uint32_t index = 0);

} // namespace Lumivera
