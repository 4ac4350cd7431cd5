#include "Host/Commands/Chooser/ChosenWallpaper.h"

#include "Host/Desktop/Configuration/ConfigurationFile.h"
#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSString.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

namespace Lumivera {

namespace {

using Json = nlohmann::json;

/// What a host answers to the request; nothing when none runs.
std::optional<std::string> answerOfHost(const std::string &folder, const std::string &bundle) {
    const Json request{{"do", "wallpaper"}, {"bundle", bundle}};
    try {
        return ControlClient::ask(folder, request.dump());
    } catch (const NoHostError &) {
        return std::nullopt;
    }
}

/// Without its last slash; wherever the host is.
std::string fullPath(const std::string &bundle) {
    std::error_code error;
    const auto path = std::filesystem::absolute(bundle, error).lexically_normal();
    return path.has_filename() ? path.string() : path.parent_path().string();
}

} // namespace

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
