#pragma once

namespace Lumivera {

/// The whole program: reads the command line, does what it says, tells of failures in one line on
/// stderr. The exit status: 0, 1 when it failed, 2 for wrong usage. Main thread.
int runProgram(int argumentCount, const char *const *arguments);

} // namespace Lumivera
