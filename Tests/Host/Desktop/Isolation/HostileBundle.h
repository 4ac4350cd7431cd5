#pragma once

#include <string>

/// False with a sanitizer: these need more address space than a view may have.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kIsMemoryLimited = false;
#else
inline constexpr bool kIsMemoryLimited = true;
#endif

/// Makes a bundle in the folder whose library does `deed`, such as "crash-in-frame", or is the
/// tests' library of that name; returns its path.
std::string hostileBundle(const std::string &folder, const std::string &deed);
