#include "Host/Wallpapers/Places.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Patience.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace Lumivera::Places {

namespace {

namespace fs = std::filesystem;

constexpr const char *kWallpapers = "lumivera/wallpapers";
constexpr const char *kTemplate = "lumivera/template";
constexpr const char *kDefaultName = "Lumivera.bundle";
constexpr const char *kSystemDataFolders = "/usr/local/share:/usr/share";
constexpr std::uint64_t kMaxUserFoldersBytes = std::uint64_t{64} * 1024;

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
fs::path ownDataFolder() { return fs::path(prefix()) / "share"; }

bool isPath(const std::string &argument) {
    return argument.empty() || argument == "." || argument == ".." ||
           argument.find('/') != std::string::npos;
}

/// The first bundle whose folder has the name, else the first whose description has it.
std::optional<std::string> bundleIn(const std::vector<std::string> &folders,
                                    const std::string &name) {
    for (const std::string &folder : folders) {
        for (const char *ending : {"", ".bundle"}) {
            const std::string path = folder + "/" + name + ending;
            if (isFolder(path)) {
                return path;
            }
        }
    }
    for (const std::string &folder : folders) {
        for (const BundleListing &listing :
             BundleListing::readFolder(folder).value_or(std::vector<BundleListing>())) {
            if (listing.name == name) {
                return listing.path;
            }
        }
    }
    return std::nullopt;
}

/// Nothing also when the folders' file system does not answer.
std::optional<std::string> installedBundle(const std::string &name) {
    using Found = std::optional<std::string>;
    return Patience::resultOf<Found>(
               [folders = wallpaperFolders(), name] { return bundleIn(folders, name); })
        .value_or(std::nullopt);
}

/// The value of a line NAME="$HOME/folder" in user-dirs.dirs; empty without one.
std::string userFolder(const std::string &name) {
    const auto bytes = readFile(configurationPath("user-dirs.dirs"), kMaxUserFoldersBytes);
    std::istringstream file(bytes ? std::string(bytes->begin(), bytes->end()) : "");
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
    add(userWallpapersFolder());
    const char *system = std::getenv("XDG_DATA_DIRS");
    std::stringstream dataFolders(system && *system ? system : kSystemDataFolders);
    for (std::string base; std::getline(dataFolders, base, ':');) {
        if (base.starts_with('/')) {
            add(fs::path(base) / kWallpapers);
        }
    }
    return folders;
}

std::string userWallpapersFolder() {
    return fs::path(dataPath(kWallpapers)).lexically_normal().string();
}

std::string defaultBundle() { return findBundle(kDefaultName); }

std::string findBundle(const std::string &argument) {
    return isPath(argument)
               ? argument
               : installedBundle(argument).value_or(wallpaperFolders().front() + "/" + argument);
}

std::string requireBundle(const std::string &argument) {
    checkNameIsNotOfFolderHere(argument);
    if (!isPath(argument) && !installedBundle(argument)) {
        throw HostError(argument, "there is no such bundle",
                        "see `lumivera list` for those that are installed");
    }
    return findBundle(argument);
}

void checkNameIsNotOfFolderHere(const std::string &argument) {
    if (!isPath(argument) && isFolder(argument) && !installedBundle(argument)) {
        throw HostError(argument, "no bundle of that name is installed",
                        "write ./" + argument + " for the folder of that name here");
    }
}

std::string prefix() {
    return fs::path(NSBundle::mainBundle()->bundlePath()).parent_path().string();
}

std::string templateFolder() { return (ownDataFolder() / kTemplate).string(); }

std::string picturesFolder() {
    for (const std::string &folder : {userFolder("XDG_PICTURES_DIR"), homeFolder() + "/Pictures"}) {
        if (folder.starts_with('/') && isFolder(folder)) {
            return folder;
        }
    }
    return ".";
}

} // namespace Lumivera::Places
