#pragma once

#include <string>

namespace Lumivera {

/// Prints `about` and a question of one line, and reads the answer from the terminal; true for y or
/// yes. A UsageError that names `subject` when standard input is no terminal.
bool askInTerminal(const std::string &subject, const std::string &about,
                   const std::string &question);

} // namespace Lumivera
