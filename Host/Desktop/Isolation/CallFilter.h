#pragma once

#include <string>

/// The list of system calls that a confined process may make, as a seccomp filter.
namespace Lumivera::CallFilter {

/// Who hears of a refused call: nobody, or the owner of a descriptor that enter() returns.
enum class Refusals { Silent, Told };

struct Entry {
    bool holds = false;

    /// Reports each refused call, which fails when the owner answers or closes it; -1 when refused
    /// calls fail silently. The caller owns it.
    int listener = -1;
};

/// Irrevocably refuses this process every system call that loading, drawing, threads and timers do
/// not need: with ENOSYS where a library then tries another call, else with EPERM. Where refusals
/// are told, sendmsg() works until finish(), so that the listener can be sent away. New privileges
/// must have been given up.
Entry enter(Refusals refusals);

/// Whether this kernel has such filters.
bool isOffered();

/// Refuses what enter() left for sending the listener away.
bool finish();

/// Allows nothing less than enter(); for tests that compare the list with the kernel's.
bool allows(int call);

/// The name of a system call of this processor; its number where it has none.
std::string nameOf(int call);

} // namespace Lumivera::CallFilter
