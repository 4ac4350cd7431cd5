#pragma once

#include <string>
#include <vector>

namespace Lumivera {

/// Begins another program, which is looked for in the usual places when its name, the first
/// argument, has no slash. Its descriptors 0, 1, 2 and so on are those of ours that `files` lists,
/// -1 for nothing to read and nowhere to write. It begins with the signals as any program expects
/// them, whatever we block or ignore, and in a process group of its own: the terminal's interrupt
/// goes to us alone, who then end it.
///
/// Its number, or minus the system's error when it cannot be run.
int spawnProgram(const std::vector<std::string> &arguments, const std::vector<int> &files,
                 const std::vector<std::string> &environment);

/// Our own environment, NAME=VALUE.
std::vector<std::string> ownEnvironment();

} // namespace Lumivera
