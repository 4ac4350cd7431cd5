#pragma once

#include <string>

/// A bundle in the folder whose library does `deed`, such as "crash-in-frame"; its path.
std::string hostileBundle(const std::string &folder, const std::string &deed);
