#include "Host/Commands/Installing/AutostartEntry.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Platform/Foundation/NSFileManager.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kFile = "autostart/lumivera.desktop";
constexpr std::uint64_t kLongestEntry = std::uint64_t{64} * 1024;

std::string entryFor(const std::string &program) {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Lumivera\n"
           "Comment=Petals that fall over the desktop\n"
           "Exec=" +
           AutostartEntry::commandFor(program) +
           "\n"
           "Icon=lumivera\n"
           "Terminal=false\n"
           "NoDisplay=true\n";
}

/// Empty when there is no such file.
std::string contentsOf(const std::string &path) {
    const auto bytes = readFile(path, kLongestEntry);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "";
}

} // namespace

std::string AutostartEntry::standardPath() {
    const char *folder = std::getenv("XDG_CONFIG_HOME");
    if (folder && *folder == '/') {
        return (fs::path(folder) / kFile).string();
    }
    const char *home = std::getenv("HOME");
    return (fs::path(home && *home ? home : "/") / ".config" / kFile).string();
}

/// Desktop environments let the user hide an entry instead of removing it.
std::optional<std::string> AutostartEntry::command() const {
    std::optional<std::string> command;
    std::istringstream lines(contentsOf(_path));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("Exec=")) {
            command = line.substr(5);
        } else if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false") {
            return std::nullopt;
        }
    }
    return command;
}

bool AutostartEntry::turnOn(const std::string &program) const {
    const std::string entry = entryFor(program);
    if (contentsOf(_path) == entry) {
        return false;
    }
    std::error_code error;
    fs::create_directories(fs::path(_path).parent_path(), error);
    OutputFile file(_path);
    file.write(entry);
    file.commit();
    return true;
}

bool AutostartEntry::turnOff() const {
    std::error_code error;
    if (fs::is_directory(fs::symlink_status(_path, error))) {
        throw HostError(_path, "is a folder", "remove it");
    }
    const bool wasThere = fs::remove(_path, error);
    if (error) {
        throw HostError(_path, "cannot be removed: " + error.message(), "check the permissions");
    }
    return wasThere;
}

/// In quotes, with what is special within them escaped; and as any value of such a file, with
/// every backslash written twice. A percent sign begins a placeholder.
std::string AutostartEntry::commandFor(const std::string &program) {
    std::string text = "\"";
    for (const char c : program) {
        switch (c) {
        case '\n':
            text += "\\n";
            break;
        case '\\':
            text += R"(\\\\)";
            break;
        case '"':
        case '`':
        case '$':
            text += R"(\\)";
            text += c;
            break;
        case '%':
            text += "%%";
            break;
        default:
            text += c;
        }
    }
    return text + "\" desktop";
}

} // namespace Lumivera
