#pragma once

#include "Platform/Foundation/PlatformExport.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The whole of a regular file; links are followed. Nothing when it is missing, unreadable, larger
/// than `maximumBytes` or than memory, or no regular file: folders, pipes and devices are never
/// read, so the call cannot hang on them. Any thread.
PLATFORM_EXPORT std::optional<std::vector<std::uint8_t>> readFile(const std::string &path,
                                                                  std::uint64_t maximumBytes);
