#pragma once

#include <string>
#include <vector>

/// Where things are on this machine.
namespace Lumivera::Places {

/// The folders in which bundles are installed, the nearest first: beside the program, in the
/// user's data folder, in the system's. Those that are not there included.
std::vector<std::string> wallpaperFolders();

/// The bundle that is shown when none is named: the path where it should be when it is missing.
std::string defaultBundle();

/// The path of a bundle given by path or, when there is nothing at that path, by the name of an
/// installed one, with or without ".bundle". The argument itself when there is no such bundle.
std::string findBundle(const std::string &argument);

/// The path of a sound that comes with the program, whether it is there or not.
std::string soundPath(const std::string &name);

/// Where screenshots go: the user's pictures folder, or the current folder.
std::string picturesFolder();

} // namespace Lumivera::Places
