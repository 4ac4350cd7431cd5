#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

/// How often the threads of a process were scheduled: unchanged while all of them wait, however
/// busy the machine is. The thread sanitizer's own thread wakes regularly, so with it this counts
/// hundredths of a second of processor time instead. 0 for a process that has ended.
long activityOf(pid_t process);

/// The same for each thread, by its name and number. With the thread sanitizer there is one entry.
std::map<std::string, long> activitiesOf(pid_t process);

/// Waits until no thread of the process has been scheduled for a second; false when that does not
/// happen within a time that only a failure takes.
bool comesToRest(pid_t process);

/// Whether a signal has stopped every thread of the process.
bool isStopped(pid_t process);

/// The running child processes of a process.
std::vector<pid_t> childrenOf(pid_t process);
