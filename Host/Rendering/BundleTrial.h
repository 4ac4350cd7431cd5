#pragma once

#include "Host/Wallpapers/BundleFolder.h"
#include "Host/Wallpapers/WallpaperSettings.h"

#include <cstdint>
#include <string_view>

namespace Lumivera {

/// What a checker does with a bundle's code apart from rendering.
enum class BundleTrial {
    None,
    LoadLazily,    ///< loads the library, each function when it is called first
    LoadNow,       ///< loads it with all functions that it calls
    EntryPoint,    ///< looks for the entry point in the library itself
    Texts,         ///< calls the functions for its name and version
    NoBundle,      ///< asks for a view of no bundle, and lets it animate
    ForeignBundle, ///< the same with a folder that is not its own
    Ending,        ///< makes and removes several views, and looks for what they leave behind
};

std::string_view nameOf(BundleTrial trial);

/// None for an unknown name.
BundleTrial trialOfName(std::string_view name);

/// Tries that out, in simulated time. Throws a HostError that says what is wrong. Only in a
/// confined process; main thread.
void tryOut(BundleTrial trial, BundleFolder folder, const WallpaperSettings &settings);

/// The bytes that the program and its libraries have taken and not given back; 0 where that cannot
/// be told.
std::uint64_t memoryInUse();

} // namespace Lumivera
