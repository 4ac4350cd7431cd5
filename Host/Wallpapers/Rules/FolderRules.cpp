#include "Host/Wallpapers/Rules/BundleRules.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleLibrary.h"
#include "Host/Wallpapers/LibraryNeeds.h"
#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <elf.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>

namespace Lumivera {

namespace {

using Kind = CheckedBundle::Kind;

constexpr const char *kOwnLibrary = "libLumiveraLiveWallpaper.dylib";
constexpr const char *kLibraryKey = "description.plist, \"name Library\"";
constexpr std::uint64_t kMuch = std::uint64_t{64} << 20;

void checkFolder(const CheckedBundle &bundle, const Reporter &report) {
    const std::string name = std::filesystem::path(bundle.path()).filename().string();
    if (!bundle.problem().empty()) {
        report.wrong(bundle.path(), bundle.problem(), "give the folder of a bundle");
        return;
    }
    if (bundle.hasTooMuch()) {
        report.wrong(name, "holds more files or folders than a bundle may have",
                     "take out what is no part of the wallpaper");
    }
    const bool isPlace = name.empty() || name == "." || name == "..";
    if (!isPlace && !name.ends_with("bundle")) {
        report.wrong(name,
                     "is not found in lists of wallpapers, which look at folders in \"bundle\"",
                     "rename it to " + name + ".bundle");
    }
    if (!isValidUTF8(name)) {
        report.wrong(name, "has a name that is no UTF-8", "give it another one");
    }
}

/// One link is legal: that which stands for the library that comes with this program.
void checkLinks(const CheckedBundle &bundle, const Reporter &report) {
    for (const CheckedBundle::Entry &entry : bundle.entries()) {
        if (entry.kind == Kind::Link && entry.name != kOwnLibrary) {
            report.wrong(entry.name, "is a link, which a bundle may not have",
                         "put a copy of the file in its place; `cp -rL` copies a bundle so");
        } else if (entry.kind == Kind::Other) {
            report.wrong(entry.name, "is neither a file nor a folder", "remove it");
        }
    }
}

void checkNames(const CheckedBundle &bundle, const Reporter &report) {
    std::map<std::string, std::string> names;
    for (const CheckedBundle::Entry &entry : bundle.entries()) {
        const auto [place, isNew] = names.emplace(lowerCase(entry.name), entry.name);
        if (!isNew) {
            report.wrong(entry.name, "differs from " + place->second + " in capital letters alone",
                         "rename or remove one; not every system can keep both");
        }
        if (!isValidUTF8(entry.name)) {
            report.wrong(entry.name, "has a name that is no UTF-8", "rename it");
        }
    }
}

bool isLeftover(const std::string &path) {
    const std::string name = lowerCase(std::filesystem::path(path).filename().string());
    constexpr std::string_view kEndings[] = {"~",    ".bak", ".orig", ".tmp", ".swp",
                                             ".psd", ".xcf", ".kra",  ".o"};
    return name.starts_with('.') || name == "thumbs.db" || name == "desktop.ini" ||
           std::any_of(std::begin(kEndings), std::end(kEndings),
                       [&name](std::string_view ending) { return name.ends_with(ending); });
}

void checkLeftovers(const CheckedBundle &bundle, const Reporter &report) {
    std::uint64_t bytes = 0;
    for (const CheckedBundle::Entry &entry : bundle.entries()) {
        bytes += entry.bytes;
        if (isLeftover(entry.name)) {
            report.advise(entry.name, "is no part of a wallpaper", "take it out");
        }
    }
    if (bytes > kMuch) {
        report.doubt("all files", "take " + std::to_string(bytes >> 20) + " MiB",
                     "make the pictures smaller or fewer");
    }
}

/// The very checks that are made before a bundle is shown, which stop at the first mistake.
void checkOwner(const CheckedBundle &bundle, const Reporter &report) {
    if (!bundle.problem().empty() || bundle.trust() == BundleFolder::Trust::Anybody ||
        bundle.text("name Library").empty()) {
        return;
    }
    try {
        const BundleFolder folder(bundle.path(), bundle.trust());
    } catch (const HostError &error) {
        const std::string_view line = error.what();
        const bool isOwnership = line.find("belongs to another user") != line.npos ||
                                 line.find("can be written by others") != line.npos;
        if (isOwnership) {
            report.add(Degree::Wrong, line);
        }
    }
}

std::optional<LibraryNeeds> needsOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    char magic[SELFMAG] = {};
    if (!file.read(magic, sizeof magic) || std::string_view(magic, SELFMAG) != ELFMAG) {
        return std::nullopt;
    }
    return LibraryNeeds::read([&file](std::uint64_t offset, void *bytes, std::size_t count) {
        file.clear();
        return static_cast<bool>(
            file.seekg(static_cast<std::streamoff>(offset))
                .read(static_cast<char *>(bytes), static_cast<std::streamsize>(count)));
    });
}

/// Without a name the pictures are shown by the library that comes with this program.
void checkLibrary(const CheckedBundle &bundle, const Reporter &report) {
    const std::string name = bundle.text("name Library");
    if (name.empty()) {
        return;
    }
    try {
        BundleLibrary::checkName(name, kLibraryKey);
    } catch (const HostError &error) {
        report.add(Degree::Wrong, error.what());
        return;
    }
    const CheckedBundle::Entry *const entry = bundle.find(name);
    if (!entry) {
        std::vector<std::string> names;
        for (const CheckedBundle::Entry &other : bundle.entries()) {
            names.push_back(other.name);
        }
        const std::string nearest = nearestOf(name, names);
        report.wrong(kLibraryKey, "there is no file " + name,
                     nearest.empty() ? "put it there, or remove the key if pictures are all"
                                     : "write " + nearest);
        return;
    }
    if (entry->kind != Kind::File) {
        return;
    }
    const auto needs = needsOf(bundle.pathOf(name));
    if (!needs || needs->libraries.empty()) {
        report.wrong(name, "is no library for this system and processor",
                     "build it for this system");
        return;
    }
    if (!needs->staysLoaded) {
        report.doubt(name, "is not linked with -z nodelete; a host that closes it would crash",
                     "link it with -Wl,-z,nodelete");
    }
    try {
        static_cast<void>(BundleLibrary(BundleFolder(bundle.path(), bundle.trust()), name));
    } catch (const HostError &error) {
        const std::string_view line = error.what();
        if (line.find("needs the library") != line.npos ||
            line.find("looks for libraries") != line.npos) {
            report.add(Degree::Wrong, line);
        }
    }
}

} // namespace

std::vector<BundleRule> folderRules() {
    return {{"folder", "the bundle is a folder whose name ends in \"bundle\"", true, checkFolder},
            {"links", "it holds files and folders alone", true, checkLinks},
            {"names", "no names differ in capital letters alone", true, checkNames},
            {"leftovers", "nothing is in it that is no part of a wallpaper", true, checkLeftovers},
            {"owner", "nobody else owns or can write what would be run", false, checkOwner},
            {"library", "the library is there and made for this system", false, checkLibrary}};
}

} // namespace Lumivera
