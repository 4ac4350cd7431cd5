#include "Host/Commands/Installing/AutostartEntry.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Host/Wallpapers/Places.h"
#include "Platform/Foundation/NSFileManager.h"

#include <cstdint>
#include <filesystem>
#include <sstream>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMaxEntryBytes = std::uint64_t{64} * 1024;

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

/// The file's text; empty when there is no file.
std::string contentsOf(const std::string &path) {
    const auto bytes = readFile(path, kMaxEntryBytes);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "";
}

} // namespace

std::string AutostartEntry::standardPath() {
    return Places::configurationPath("autostart/lumivera.desktop");
}

/// An entry that the user switched off in the desktop's settings counts as none.
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

/// The path is quoted and its special characters are escaped; then every backslash is doubled, as
/// in any value of a desktop entry. A percent sign is doubled because it begins a field code.
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
