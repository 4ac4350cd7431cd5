#pragma once

#include "Platform/Foundation/PlatformExport.h"

#include <optional>
#include <string>
#include <vector>

/// Looks at folders. Any thread.
class PLATFORM_EXPORT NSFileManager {
  public:
    NSFileManager() = delete;

    /// The names in a folder, without "." and "..", not those in its subfolders; in the order of
    /// their bytes, so that every listing of the same folder is alike. Nothing when it cannot be
    /// listed: `errorDescription`, unless null, then says why, in one line that names the path.
    static std::optional<std::vector<std::string>>
    contentsOfDirectoryAtPath_error(const std::string &path, std::string *errorDescription);
};
