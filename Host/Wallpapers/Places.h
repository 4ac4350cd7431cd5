#pragma once

#include <optional>
#include <string>
#include <vector>

/// The files and folders of this program on this machine.
namespace Lumivera::Places {

/// The user's home folder without a slash at its end; empty, which stands for the root folder,
/// when $HOME is no absolute path.
std::string homeFolder();

/// The paths of the program's files in the user's folders. Each folder is the one that its variable
/// names, or the default when the variable is no absolute path: $XDG_CONFIG_HOME or ~/.config,
/// $XDG_DATA_HOME or ~/.local/share, $XDG_STATE_HOME or ~/.local/state.
std::string configurationPath(const std::string &name);
std::string dataPath(const std::string &name);
std::string statePath(const std::string &name);

/// The path of a file in $XDG_RUNTIME_DIR, which has no default.
std::optional<std::string> runtimePath(const std::string &name);

/// The folders in which bundles are looked for, in this order: beside the program, in the user's
/// data folder, in the system's data folders. Some may not exist.
std::vector<std::string> wallpaperFolders();

/// The one of them in the user's data folder, into which bundles are installed.
std::string userWallpapersFolder();

/// The path of the bundle that is shown when none is named, even when it is not installed.
std::string defaultBundle();

/// The path of a bundle given by path or by the name of an installed one: that of its folder, with
/// or without ".bundle", or that of its description, as it is listed. Only a text with a slash, "."
/// and ".." are paths, so that a folder which happens to be in the current folder never takes the
/// place of an installed bundle. A name that is not installed gives a path at which there is
/// nothing.
std::string findBundle(const std::string &argument);

/// The same for an argument that a person has typed: a HostError when no bundle of that name is
/// installed, which tells how to name a folder in the current folder.
std::string requireBundle(const std::string &argument);

/// Throws that HostError only for a name that is not installed while the current folder has a
/// folder of that name.
void checkNameIsNotOfFolderHere(const std::string &argument);

/// The folder below which this program is installed, or was built.
std::string prefix();

/// The folder from which wallpapers with code are begun, even when it is not installed.
std::string templateFolder();

/// The folder for screenshots: the user's pictures folder, else the current folder.
std::string picturesFolder();

} // namespace Lumivera::Places
