#pragma once

namespace Lumivera {

/// Runs the program: parses the command line, runs the command, and reports a failure as a line on
/// stderr. Returns the exit status: 0, 1 for a failure, 2 for wrong usage. Main thread.
int runProgram(int argumentCount, const char *const *arguments);

} // namespace Lumivera
