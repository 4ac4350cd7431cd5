#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <functional>
#include <string>
#include <string_view>

/// Writes one line to the system log, and to stderr when that is a terminal, in both with
/// escape sequences for control characters. Any thread.
PLATFORM_EXPORT void NSLog(std::string_view line);

/// Sends every line to `sink` instead of the system log; null restores the system log. For tests
/// and for hosts that show the log themselves. The sink is called on the thread that logs, for one
/// line at a time, and must neither log nor wait. Once this call returns, the previous sink is no
/// longer in use.
PLATFORM_EXPORT void NSLogSetSink(std::function<void(std::string_view)> sink);
