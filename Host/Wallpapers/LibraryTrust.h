#pragma once

#include <string>

namespace Lumivera {

/// Throws a HostError, which says what is wrong and what to do, unless the bundle's folder, its
/// library and the folder that the library lies in belong to the user or root and nobody else can
/// write them.
void checkLibraryTrust(const std::string &bundlePath, const std::string &libraryPath);

} // namespace Lumivera
