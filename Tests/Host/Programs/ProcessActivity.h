#pragma once

#include <sys/types.h>

#include <vector>

/// How often the threads of a process have been given the processor. Unchanged while all of them
/// wait, however busy the machine is; a sanitizer's own thread is not told apart, so under the
/// thread sanitizer it counts hundredths of a second of processor time instead. 0 when it has gone.
long activityOf(pid_t process);

/// The processes that it has begun and that are still there.
std::vector<pid_t> childrenOf(pid_t process);
