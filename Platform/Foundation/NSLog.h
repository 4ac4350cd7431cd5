#pragma once

#include "Platform/Foundation/PlatformExport.h"

#include <functional>
#include <string>
#include <string_view>

/// Writes one line to the system log, and to stderr when that is a terminal, where control
/// characters are shown as "?". Any thread.
PLATFORM_EXPORT void NSLog(std::string_view line);

/// Sends every line to `sink` instead, on the thread that logs it; null for the system log again.
/// For tests and hosts that show the log themselves. One line at a time; the sink must neither log
/// nor wait. Once the call returns, the sink of before is no longer in use.
PLATFORM_EXPORT void NSLogSetSink(std::function<void(std::string_view)> sink);
