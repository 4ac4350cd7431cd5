#pragma once

#include "Platform/Foundation/NSTypes.h"
#include "Platform/Foundation/PlatformExport.h"

/// The media clock: seconds of the clock in force, never running backwards. Any thread.
PLATFORM_EXPORT NSTimeInterval CACurrentMediaTime();
