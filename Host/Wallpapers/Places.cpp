#include "Host/Wallpapers/Places.h"

#include "Platform/Foundation/NSBundle.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace Lumivera::Places {

namespace {

constexpr const char *kSubfolder = "lumivera/wallpapers";
constexpr const char *kSounds = "lumivera/sounds";
constexpr const char *kDefaultName = "Lumivera.bundle";

std::string environment(const char *name, const std::string &otherwise) {
    const char *value = std::getenv(name);
    return value && *value ? value : otherwise;
}

bool isFolder(const std::string &path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

/// The wallpapers of a data folder, however that is spelled.
std::string pathIn(const std::string &dataFolder) {
    return (std::filesystem::path(dataFolder) / kSubfolder).lexically_normal().string();
}

/// The data folder beside the program, in the build folder and where it is installed.
std::filesystem::path ownDataFolder() {
    const std::filesystem::path programFolder = NSBundle::mainBundle()->bundlePath();
    return programFolder.parent_path() / "share";
}

std::string homeFolder() { return environment("HOME", ""); }

/// The value of a line NAME="$HOME/folder" in the user's list of folders; empty without one.
std::string userFolder(const std::string &name) {
    const std::string home = homeFolder();
    std::ifstream file(environment("XDG_CONFIG_HOME", home + "/.config") + "/user-dirs.dirs");
    const std::string start = name + "=\"";
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, start.size(), start) == 0 && line.back() == '"') {
            std::string value = line.substr(start.size(), line.size() - start.size() - 1);
            const bool inHome = value.compare(0, 5, "$HOME") == 0;
            return inHome ? home + value.substr(5) : value;
        }
    }
    return {};
}

} // namespace

std::vector<std::string> wallpaperFolders() {
    std::vector<std::string> folders{pathIn(ownDataFolder().string())};
    const std::string home = homeFolder();
    const std::string ownData = home.empty() ? "" : home + "/.local/share";
    std::stringstream dataFolders(environment("XDG_DATA_HOME", ownData) + ":" +
                                  environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share"));
    for (std::string base; std::getline(dataFolders, base, ':');) {
        const std::string folder = pathIn(base);
        if (base.starts_with('/') &&
            std::find(folders.begin(), folders.end(), folder) == folders.end()) {
            folders.push_back(folder);
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
    if (isPath || std::filesystem::exists(argument, error)) {
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
