#include "Host/Desktop/Backgrounds/DesktopProcess.h"

#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

/// The texts of a file that has a zero byte after each of them.
std::vector<std::string> textsIn(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> texts;
    for (std::string text; std::getline(file, text, '\0');) {
        texts.push_back(text);
    }
    return texts;
}

bool contains(const std::vector<std::string> &texts, const std::string &text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

bool isOurs(const fs::path &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && status.st_uid == geteuid();
}

bool isOnOurDisplay(const fs::path &process) {
    const char *display = std::getenv("DISPLAY");
    return contains(textsIn(process / "environ"),
                    std::string("DISPLAY=") + (display ? display : ""));
}

} // namespace

std::optional<DesktopProcess> DesktopProcess::find(const std::string &program,
                                                   const std::string &processFolder) {
    const auto names = NSFileManager::contentsOfDirectoryAtPath_error(processFolder, nullptr);
    for (const std::string &name : names.value_or(std::vector<std::string>())) {
        const fs::path process = fs::path(processFolder) / name;
        if (name.find_first_not_of("0123456789") != std::string::npos || !isOurs(process)) {
            continue;
        }
        const auto arguments = textsIn(process / "cmdline");
        if (!arguments.empty() && fs::path(arguments.front()).filename() == program &&
            contains(arguments, "--desktop") && isOnOurDisplay(process)) {
            return DesktopProcess(arguments);
        }
    }
    return std::nullopt;
}

std::string DesktopProcess::profile(const std::string &standard) const {
    const std::string longOption = "--profile=";
    for (std::size_t i = 1; i < _arguments.size(); ++i) {
        const std::string &argument = _arguments[i];
        if ((argument == "--profile" || argument == "-p") && i + 1 < _arguments.size()) {
            return _arguments[i + 1];
        }
        if (argument.starts_with(longOption)) {
            return argument.substr(longOption.size());
        }
        if (argument.starts_with("-p") && argument.size() > 2) {
            return argument.substr(2);
        }
    }
    return standard;
}

} // namespace Lumivera
