#include "Host/Wallpapers/BundleContents.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleFolder.h"
#include "Host/Wallpapers/BundleLibrary.h"
#include "Host/Wallpapers/ResourcePack.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/PropertyList.h"

#include <algorithm>
#include <array>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

using File = BundleContents::File;

constexpr const char *kDescription = "description.plist";
constexpr std::array<std::uint8_t, 4> kProgramMark{0x7f, 'E', 'L', 'F'};

constexpr const char *kTooMany = "take out what is no part of the wallpaper";

std::string limitText() {
    return "more than " + std::to_string(BundleContents::kMaxFiles) + " files or " +
           std::to_string(BundleContents::kMaxBytes >> 20) + " MiB, which no bundle may have";
}

/// Reads the files of an open folder and of those in it. No link is followed.
class FolderReader {
  public:
    explicit FolderReader(const BundleFolder &folder) : _folder(folder) {
        readAll(_folder.descriptor(), "");
    }

    std::vector<File> takeFiles() { return std::move(_files); }

  private:
    void readAll(int parent, const std::string &prefix) {
        const int descriptor = openat(parent, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const std::unique_ptr<DIR, int (*)(DIR *)> folder(fdopendir(descriptor), closedir);
        if (!folder) {
            fail(prefix);
        }
        while (const dirent *entry = readdir(folder.get())) {
            const std::string name = entry->d_name;
            if (!name.starts_with('.')) {
                readEntry(dirfd(folder.get()), name, prefix + name);
            }
        }
    }

    void readEntry(int parent, const std::string &name, const std::string &path) {
        if (path == BundleFolder::kOwnLibrary && _folder.standsForOwnLibrary(path)) {
            return;
        }
        const int descriptor =
            openat(parent, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        struct stat status;
        if (descriptor < 0 || fstat(descriptor, &status) != 0) {
            fail(path);
        }
        const std::unique_ptr<const int, void (*)(const int *)> closed(
            &descriptor, [](const int *opened) { close(*opened); });
        if (S_ISDIR(status.st_mode)) {
            readAll(descriptor, path + "/");
        } else {
            readOne(descriptor, path);
        }
    }

    void readOne(int descriptor, const std::string &path) {
        const std::uint64_t free = BundleContents::kMaxBytes - _bytes;
        auto bytes = readFile("/proc/self/fd/" + std::to_string(descriptor), free);
        struct stat status;
        if (!bytes && fstat(descriptor, &status) == 0 &&
            static_cast<std::uint64_t>(status.st_size) <= free) {
            fail(path);
        }
        if (!bytes || _files.size() == BundleContents::kMaxFiles) {
            throw HostError(_folder.path(), "has " + limitText(), kTooMany);
        }
        _bytes += bytes->size();
        _files.push_back({path, std::move(*bytes)});
    }

    [[noreturn]] void fail(const std::string &path) const {
        throw HostError(_folder.path() + "/" + path, "cannot be read: " + systemErrorText(),
                        "check its permissions");
    }

    const BundleFolder &_folder;
    std::vector<File> _files;
    std::uint64_t _bytes = 0;
};

/// Names that differ in these letters alone are one name on some file systems.
std::string folded(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

std::string textUnder(const PropertyList::Dictionary &description, std::string_view key) {
    const auto found = description.find(key);
    return found != description.end() && found->second.text() ? *found->second.text() : "";
}

std::string inQuotes(const std::string &path) { return "\"" + path + "\""; }

} // namespace

BundleContents::BundleContents(const std::string &origin, std::string name, std::vector<File> files)
    : _name(std::move(name)), _files(std::move(files)) {
    const std::string problem = problemOfName(_name);
    if (!problem.empty()) {
        throw HostError(origin,
                        "holds a bundle with the name " + inQuotes(_name) + ", which " + problem,
                        "ask its maker for another one");
    }
    std::sort(_files.begin(), _files.end(),
              [](const File &left, const File &right) { return left.path < right.path; });
    checkFiles(origin);
    checkSpellings(origin);
    readDescription(origin);
    checkLibrary(origin);
}

BundleContents BundleContents::readFolder(const std::string &path) {
    const BundleFolder folder(path, BundleFolder::Trust::Anybody);
    const std::string name = fs::path(folder.path()).filename().string();
    const std::string problem = problemOfName(name);
    if (!problem.empty()) {
        throw HostError(folder.path(), "has a name that " + problem,
                        "name the folder as in Snow" + std::string(kEnding));
    }
    return {folder.path(), name, FolderReader(folder).takeFiles()};
}

std::uint64_t BundleContents::byteCount() const {
    std::uint64_t bytes = 0;
    for (const File &file : _files) {
        bytes += file.bytes.size();
    }
    return bytes;
}

std::vector<std::string> BundleContents::code() const {
    std::vector<std::string> paths;
    for (const File &file : _files) {
        const bool isProgram =
            file.bytes.size() >= kProgramMark.size() &&
            std::equal(kProgramMark.begin(), kProgramMark.end(), file.bytes.begin());
        if (isProgram || file.path == _library) {
            paths.push_back(file.path);
        }
    }
    return paths;
}

void BundleContents::rename(const std::string &name) {
    const std::string whole = name.ends_with(kEnding) ? name : name + kEnding;
    const std::string problem = problemOfName(whole);
    if (!problem.empty()) {
        throw UsageError(name, "as the name of a bundle " + problem, "give another one");
    }
    _name = whole;
}

std::string BundleContents::problemOfName(const std::string &name) {
    if (!name.ends_with(kEnding) || name == kEnding) {
        return "does not end in " + std::string(kEnding);
    }
    if (name.size() > kMaxNameBytes) {
        return "is longer than " + std::to_string(kMaxNameBytes) + " bytes";
    }
    return name.find('/') == std::string::npos ? problemOfPath(name) : "has a slash";
}

std::string BundleContents::problemOfPath(const std::string &path) {
    if (!isValidUTF8(path)) {
        return "is no UTF-8";
    }
    if (inOneLine(path) != path || path.find('\\') != std::string::npos) {
        return "has characters that a name may not have";
    }
    if (path.size() > kMaxPathBytes) {
        return "is longer than " + std::to_string(kMaxPathBytes) + " bytes";
    }
    const std::string problem = ConfinedFolder::problemOfName(path);
    if (!problem.empty()) {
        return problem;
    }
    for (const fs::path &part : fs::path(path)) {
        if (part.string().starts_with('.')) {
            return "is hidden";
        }
        if (part.string().size() > NAME_MAX) {
            return "is longer than a file's name may be";
        }
    }
    return {};
}

void BundleContents::checkFiles(const std::string &origin) const {
    if (_files.size() > kMaxFiles || byteCount() > kMaxBytes) {
        throw HostError(origin, "has " + limitText(), kTooMany);
    }
    for (const File &file : _files) {
        const std::string problem = problemOfPath(file.path);
        if (!problem.empty()) {
            throw HostError(origin, "the name " + inQuotes(file.path) + " " + problem,
                            "take the file out or rename it");
        }
    }
}

/// Every file and every folder has one spelling, and none is both.
void BundleContents::checkSpellings(const std::string &origin) const {
    std::map<std::string, std::string> spellings;
    for (const File &file : _files) {
        for (std::size_t at = file.path.find('/');; at = file.path.find('/', at + 1)) {
            const bool isFolder = at != std::string::npos;
            const std::string name = file.path.substr(0, at);
            // A folder's slash tells it from a file of the same name.
            const std::string spelling = isFolder ? name + "/" : name;
            const auto [known, isNew] = spellings.emplace(folded(name), spelling);
            if (!isNew && (!isFolder || known->second != spelling)) {
                throw HostError(origin,
                                inQuotes(known->second) + " and " + inQuotes(spelling) +
                                    " would be one file on some systems",
                                "rename one");
            }
            if (!isFolder) {
                break;
            }
        }
    }
}

void BundleContents::readDescription(const std::string &origin) {
    const File *file = find(kDescription);
    if (!file) {
        throw HostError(origin, "holds no description.plist", "a wallpaper bundle needs one");
    }
    const auto list = readPropertyList(file->bytes);
    const PropertyList::Dictionary *description = list ? list->dictionary() : nullptr;
    if (!description) {
        throw HostError(origin, "its description.plist is damaged or no dictionary",
                        "write it as an XML or binary property list");
    }
    const std::string title = textUnder(*description, "name");
    _title = title.empty() ? fs::path(_name).stem().string() : title;
    _author = textUnder(*description, "author");
    _license = textUnder(*description, "license");
    _library = textUnder(*description, "name Library");
}

/// A name that leads out of the bundle is refused when it is shown, too; here the maker learns it.
void BundleContents::checkLibrary(const std::string &origin) const {
    if (_library.empty() || _library == BundleFolder::kOwnLibrary) {
        return;
    }
    BundleLibrary::checkName(_library, origin + "/" + kDescription);
    if (!find(_library)) {
        throw HostError(origin,
                        "lacks the library " + inQuotes(_library) + " that its description names",
                        "put it there or correct \"name Library\"");
    }
}

const BundleContents::File *BundleContents::find(const std::string &path) const {
    const auto found = std::find_if(_files.begin(), _files.end(),
                                    [&path](const File &file) { return file.path == path; });
    return found == _files.end() ? nullptr : &*found;
}

} // namespace Lumivera
