#pragma once

#include <cstdint>

/// Words: integers of pointer width. Counts are unsigned, levels are signed.
using NSInteger = std::intptr_t;
using NSUInteger = std::uintptr_t;

/// Seconds, as the media clock and delays count them.
using NSTimeInterval = double;
