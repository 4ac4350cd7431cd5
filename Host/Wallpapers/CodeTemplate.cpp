#include "Host/Wallpapers/CodeTemplate.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFolder.h"
#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNewName = "NewName";
constexpr std::size_t kMaxName = 64;

constexpr const char *kRepair = "install it again: the package is liblumivera-dev";

bool isCapital(char c) { return c >= 'A' && c <= 'Z'; }

bool isLetterOrDigit(char c) {
    return isCapital(c) || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

/// The name becomes part of the names of a class and a library, and that of a target of CMake,
/// whose own ones begin with small letters or contain underscores.
bool isGoodName(const std::string &name) {
    return !name.empty() && name.size() <= kMaxName && isCapital(name.front()) &&
           std::all_of(name.begin(), name.end(), isLetterOrDigit);
}

/// CMake has targets of these names, with some generators at least.
bool isTargetOfCMake(const std::string &name) {
    constexpr std::array<std::string_view, 6> kNames{"ALL",     "CLEAN",   "HELP",
                                                     "INSTALL", "PACKAGE", "TEST"};
    return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

std::string withName(std::string text, const std::string &name) {
    for (std::size_t at = text.find(kNewName); at != std::string::npos;
         at = text.find(kNewName, at + name.size())) {
        text.replace(at, kNewName.size(), name);
    }
    return text;
}

} // namespace

CodeTemplate::CodeTemplate(const std::string &folder) {
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        throw HostError(folder, "the kit for wallpapers with code is not installed",
                        "install the package liblumivera-dev, or run ./dev install");
    }
    for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->is_directory()) {
            continue;
        }
        const auto bytes = readFile(entry->path().string(), kMaxFileBytes);
        if (!bytes || _files.size() == kMaxFiles) {
            throw HostError(entry->path().string(), "cannot be read as part of the template",
                            kRepair);
        }
        _files.push_back({entry->path().lexically_relative(folder).string(),
                          std::string(bytes->begin(), bytes->end())});
    }
    if (error || _files.empty()) {
        throw HostError(folder, "the template cannot be read", kRepair);
    }
}

void CodeTemplate::copyTo(const std::string &folder) const {
    const fs::path path = fs::path(folder).lexically_normal();
    const std::string name = (path.has_filename() ? path : path.parent_path()).filename().string();
    if (!isGoodName(name)) {
        throw HostError(folder, "is no name for a wallpaper with code",
                        "take a capital letter, then letters and digits, such as Fireflies");
    }
    if (isTargetOfCMake(name)) {
        throw HostError(folder, "has a name that CMake keeps for itself",
                        "take another one, such as Fireflies");
    }
    OutputFolder target(folder, OutputFolder::Existing::Refused);
    for (const File &file : _files) {
        const std::string contents = withName(file.contents, name);
        target.write(withName(file.path, name),
                     {reinterpret_cast<const std::uint8_t *>(contents.data()), contents.size()});
    }
    target.commit();
}

} // namespace Lumivera
