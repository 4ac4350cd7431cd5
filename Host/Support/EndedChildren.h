#pragma once

#include <optional>

/// Child processes that have ended or were killed. The system keeps each until its status is taken,
/// and one that a device, a file system or a debugger holds may end late. Main thread.
namespace Lumivera::EndedChildren {

/// The status of a child, as waitpid() gives it. Nothing when the child does not end within half a
/// second; its status is then taken later, from time to time, without waiting.
std::optional<int> take(int process);

/// Takes the status later; a negative number is that of a group of children.
void takeLater(int process);

} // namespace Lumivera::EndedChildren
