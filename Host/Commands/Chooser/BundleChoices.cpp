#include "Host/Commands/Chooser/BundleChoices.h"

#include "Host/Desktop/Configuration/ConfigurationFile.h"
#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/Places.h"
#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

/// The path without symbolic links, to recognise the same bundle under two paths.
std::string trueAddress(const std::string &path) {
    std::error_code error;
    const fs::path found = fs::weakly_canonical(path, error);
    return error ? path : found.string();
}

std::string folderName(const std::string &path) { return fs::path(path).filename().string(); }

using Json = nlohmann::json;

/// The host's answer to the request; nothing when none runs.
std::optional<std::string> answerOfHost(const std::string &folder, const std::string &bundle) {
    const Json request{{"do", "wallpaper"}, {"bundle", bundle}};
    try {
        return ControlClient::ask(folder, request.dump());
    } catch (const NoHostError &) {
        return std::nullopt;
    }
}

/// The absolute path without a slash at its end.
std::string fullPath(const std::string &bundle) {
    std::error_code error;
    const auto path = std::filesystem::absolute(bundle, error).lexically_normal();
    return path.has_filename() ? path.string() : path.parent_path().string();
}

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

ChosenWallpaper::ChosenWallpaper(std::string configuration, std::string controlFolder)
    : _configuration(std::move(configuration)), _controlFolder(std::move(controlFolder)) {}

std::string ChosenWallpaper::use(const std::string &bundle) const {
    const std::string path = fullPath(bundle);
    if (!isValidUTF8(path)) {
        throw HostError(path, "has a name that is no UTF-8", "give it another one");
    }
    ConfigurationFile::setWallpaper(_configuration, path);
    const auto answer = answerOfHost(_controlFolder, path);
    if (!answer) {
        return path + " is the wallpaper from now on; no host is running: start it with "
                      "`lumivera desktop`";
    }
    const Json json = Json::parse(*answer, nullptr, false);
    if (!json.is_object() || !json.value("ok", false)) {
        const bool hasReason =
            json.is_object() && json.contains("error") && json["error"].is_string();
        throw HostError(path,
                        "the host refuses it: " +
                            (hasReason ? json["error"].get<std::string>() : "without a reason"));
    }
    return path + " is the wallpaper now";
}

} // namespace Lumivera
