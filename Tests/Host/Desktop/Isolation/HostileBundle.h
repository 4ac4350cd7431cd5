#pragma once

#include <string>

/// The sanitizers need more address space than a view may have, so with them nothing limits it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kIsMemoryLimited = false;
#else
inline constexpr bool kIsMemoryLimited = true;
#endif

/// A bundle in the folder whose library does `deed`, such as "crash-in-frame"; its path.
std::string hostileBundle(const std::string &folder, const std::string &deed);
