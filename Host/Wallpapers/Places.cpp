#include "Host/Wallpapers/Places.h"

#include "Platform/Foundation/NSBundle.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace Lumivera::Places {

namespace {

namespace fs = std::filesystem;

constexpr const char *kWallpapers = "lumivera/wallpapers";
constexpr const char *kSounds = "lumivera/sounds";
constexpr const char *kDefaultName = "Lumivera.bundle";
constexpr const char *kSystemDataFolders = "/usr/local/share:/usr/share";

/// The XDG rule for folders: a relative path in the variable is ignored.
std::optional<std::string> absoluteFolder(const char *variable) {
    const char *value = std::getenv(variable);
    return value && *value == '/' ? std::optional<std::string>(value) : std::nullopt;
}

std::string userPath(const char *variable, const char *subfolder, const std::string &name) {
    return (fs::path(absoluteFolder(variable).value_or(homeFolder() + subfolder)) / name).string();
}

bool isFolder(const std::string &path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

/// The data folder beside the program, in the build folder and where it is installed.
fs::path ownDataFolder() {
    return fs::path(NSBundle::mainBundle()->bundlePath()).parent_path() / "share";
}

/// The value of a line NAME="$HOME/folder" in user-dirs.dirs; empty without one.
std::string userFolder(const std::string &name) {
    std::ifstream file(configurationPath("user-dirs.dirs"));
    const std::string start = name + "=\"";
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(start) && line.back() == '"') {
            const std::string value = line.substr(start.size(), line.size() - start.size() - 1);
            return value.starts_with("$HOME") ? homeFolder() + value.substr(5) : value;
        }
    }
    return {};
}

} // namespace

std::string homeFolder() {
    std::string home = absoluteFolder("HOME").value_or("");
    while (home.ends_with('/')) {
        home.pop_back();
    }
    return home;
}

std::string configurationPath(const std::string &name) {
    return userPath("XDG_CONFIG_HOME", "/.config", name);
}

std::string dataPath(const std::string &name) {
    return userPath("XDG_DATA_HOME", "/.local/share", name);
}

std::string statePath(const std::string &name) {
    return userPath("XDG_STATE_HOME", "/.local/state", name);
}

std::optional<std::string> runtimePath(const std::string &name) {
    const auto folder = absoluteFolder("XDG_RUNTIME_DIR");
    return folder ? std::optional((fs::path(*folder) / name).string()) : std::nullopt;
}

std::vector<std::string> wallpaperFolders() {
    std::vector<std::string> folders;
    const auto add = [&](const fs::path &path) {
        const std::string folder = path.lexically_normal().string();
        if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
            folders.push_back(folder);
        }
    };
    add(ownDataFolder() / kWallpapers);
    add(dataPath(kWallpapers));
    const char *system = std::getenv("XDG_DATA_DIRS");
    std::stringstream dataFolders(system && *system ? system : kSystemDataFolders);
    for (std::string base; std::getline(dataFolders, base, ':');) {
        if (base.starts_with('/')) {
            add(fs::path(base) / kWallpapers);
        }
    }
    return folders;
}

std::string defaultBundle() {
    const std::string found = findBundle(kDefaultName);
    return found == kDefaultName ? wallpaperFolders().front() + "/" + kDefaultName : found;
}

std::string findBundle(const std::string &argument) {
    std::error_code error;
    const bool isPath = argument.empty() || argument.find('/') != std::string::npos;
    if (isPath || fs::exists(argument, error)) {
        return argument;
    }
    for (const std::string &folder : wallpaperFolders()) {
        for (const char *ending : {"", ".bundle"}) {
            const std::string path = folder + "/" + argument + ending;
            if (isFolder(path)) {
                return path;
            }
        }
    }
    return argument;
}

std::string soundPath(const std::string &name) {
    return (ownDataFolder() / kSounds / name).lexically_normal().string();
}

std::string picturesFolder() {
    for (const std::string &folder : {userFolder("XDG_PICTURES_DIR"), homeFolder() + "/Pictures"}) {
        if (folder.starts_with('/') && isFolder(folder)) {
            return folder;
        }
    }
    return ".";
}

} // namespace Lumivera::Places
