#include "Host/Commands/Making/PhotoBundle.h"

#include "Host/Commands/Making/BundleMaker.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/UserWallpapers.h"
#include "Host/Wallpapers/WallpaperBundle.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

bool isFolder(const std::string &path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool isPhoto(const std::string &argument) {
    return PictureFile::hasPictureName(argument) && !isFolder(argument) &&
           !isFolder(Places::findBundle(argument));
}

/// FNV-1a over the whole file: two photos of one user do not meet in 64 bits.
std::uint64_t fingerprint(const PictureFile::Bytes &bytes) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const std::uint8_t byte : bytes) {
        hash = (hash ^ byte) * 0x100000001b3;
    }
    return hash;
}

std::string bundleNameFor(const std::string &photo) {
    std::array<char, 32> digits;
    std::snprintf(digits.data(), digits.size(), "%016llx",
                  static_cast<unsigned long long>(fingerprint(PictureFile::readBytes(photo))));
    return "Photo-" + std::string(digits.data()) + ".bundle";
}

bool isWhole(const std::string &bundle) { return BundleListing::read(bundle).problem.empty(); }

BundleRecipe recipeFor(const std::string &photo) {
    BundleRecipe recipe;
    recipe.background = photo;
    recipe.name = inOneLine(fs::path(photo).stem().string());
    return recipe;
}

} // namespace

std::optional<std::string> PhotoBundle::pathFor(const std::string &argument) {
    if (!isPhoto(argument)) {
        return std::nullopt;
    }
    const UserWallpapers wallpapers(Places::userWallpapersFolder());
    const std::string name = bundleNameFor(argument);
    if (!isWhole(wallpapers.pathOf(name))) {
        wallpapers.make(
            name, [&](OutputFolder &folder) { BundleMaker::make(recipeFor(argument), folder); });
    }
    return wallpapers.pathOf(name);
}

std::string PhotoBundle::requireBundle(const std::string &argument) {
    const auto made = pathFor(argument);
    return made ? *made : Places::requireBundle(argument);
}

} // namespace Lumivera
