#include "Host/Commands/Chooser/BundleChoices.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/Places.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

/// The same however a path leads there.
std::string trueAddress(const std::string &path) {
    std::error_code error;
    const fs::path found = fs::weakly_canonical(path, error);
    return error ? path : found.string();
}

std::string folderName(const std::string &path) { return fs::path(path).filename().string(); }

} // namespace

std::vector<BundleListing> BundleChoices::find(const std::vector<std::string> &folders) {
    std::vector<BundleListing> all;
    std::set<std::string> addresses;
    std::set<std::string> names;
    for (const std::string &folder : folders) {
        auto found = BundleListing::readFolder(folder);
        if (!found) {
            throw HostError(folder, "cannot be read as a folder",
                            "give the folder in which the bundles are");
        }
        for (BundleListing &listing : *found) {
            if (addresses.insert(trueAddress(listing.path)).second) {
                all.push_back(std::move(listing));
            }
        }
    }
    for (const std::string &folder : Places::wallpaperFolders()) {
        for (BundleListing &listing :
             BundleListing::readFolder(folder).value_or(std::vector<BundleListing>())) {
            const bool isNearest = names.insert(folderName(listing.path)).second;
            if (isNearest && addresses.insert(trueAddress(listing.path)).second) {
                all.push_back(std::move(listing));
            }
        }
    }
    return all;
}

std::size_t BundleChoices::indexOf(const std::vector<BundleListing> &bundles,
                                   const std::string &bundle) {
    const std::string address = bundle.empty() ? "" : trueAddress(Places::findBundle(bundle));
    const auto isAsked = [&](const BundleListing &listing) {
        return trueAddress(listing.path) == address;
    };
    const auto isInOrder = [](const BundleListing &listing) { return listing.problem.empty(); };
    auto found = std::find_if(bundles.begin(), bundles.end(), isAsked);
    if (found == bundles.end()) {
        found = std::find_if(bundles.begin(), bundles.end(), isInOrder);
    }
    return found == bundles.end() ? 0 : static_cast<std::size_t>(found - bundles.begin());
}

} // namespace Lumivera
