#include "Host/Wallpapers/ResourcePack.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kPlaceAdvice = "check the folder, its permissions and the free space";

/// For example "entry 2 of 3, at byte 21,".
std::string nameOf(const DataEncrypt::Pack &pack, std::size_t index, std::uint64_t offset) {
    return "entry " + std::to_string(index + 1) + " of " + std::to_string(pack.count) +
           ", at byte " + std::to_string(offset) + ",";
}

std::string problemOfEnd(const DataEncrypt::Pack &pack) {
    if (pack.count < 0 || (pack.end == 0 && !pack.problem.empty())) {
        return "is no resource pack";
    }
    if (pack.problem.empty()) {
        return {};
    }
    return (pack.entries.empty() ? "is no resource pack: " : "") +
           nameOf(pack, pack.entries.size(), pack.end) + " " + std::string(pack.problem);
}

/// Names the first entry that a later one of the same name hides, and counts the others.
std::string problemOfNames(const DataEncrypt::Pack &pack) {
    std::map<std::string_view, std::size_t> later;
    std::string problem;
    std::size_t others = 0;
    for (std::size_t i = pack.entries.size(); i-- > 0;) {
        const auto [place, isLast] = later.emplace(pack.entries[i].key, i);
        if (!isLast) {
            others += problem.empty() ? 0 : 1;
            problem = nameOf(pack, i, pack.entries[i].offset) + " has the name of entry " +
                      std::to_string(place->second + 1) + ", which replaces it";
        }
    }
    return others == 0 ? problem : problem + " (and " + std::to_string(others) + " more like it)";
}

std::string problemOf(const DataEncrypt::Pack &pack) {
    const std::string end = problemOfEnd(pack);
    const std::string names = problemOfNames(pack);
    return end.empty() || names.empty() ? end + names : end + ", and " + names;
}

void checkReadable(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
        throw HostError(path, "cannot be read: " + systemErrorText(), "give a resource pack");
    }
    if (!S_ISREG(status.st_mode)) {
        throw HostError(path, "is no file", "give a resource pack");
    }
}

std::uintmax_t sizeOfPack(const DataEncrypt::Datas &entries) {
    std::uintmax_t size = 4;
    for (const auto &[key, value] : entries) {
        size += 8 + key.size() + value.size();
    }
    return size;
}

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::vector<std::string> partsOf(const std::string &name) {
    std::vector<std::string> parts(1);
    for (const char c : name) {
        if (c == '/') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

bool isLink(int folder, const std::string &name) {
    struct stat status;
    return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISLNK(status.st_mode);
}

} // namespace

ResourcePack ResourcePack::read(const std::string &path) {
    checkReadable(path);
    DataEncrypt::Pack pack = DataEncrypt::readPack(path);
    std::string problem = problemOf(pack);
    return {std::move(pack.entries), std::move(problem)};
}

std::size_t ResourcePack::payloadSize(const DataEncrypt::Pack::Entry &entry) {
    return entry.value.empty() ? 0 : entry.value.size() - 1;
}

std::string ResourcePack::problemOfKey(const std::string &key) {
    const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7f; };
    if (key.empty()) {
        return "has no name";
    }
    return std::all_of(key.begin(), key.end(), isPlain)
               ? std::string()
               : "has a name with characters beyond ASCII, which a pack would cut short";
}

void ResourcePack::write(const DataEncrypt::Datas &entries, const std::string &path) {
    constexpr std::uintmax_t kMaxValueBytes = std::numeric_limits<std::int32_t>::max();
    for (const auto &[key, value] : entries) {
        const std::string problem = problemOfKey(key);
        if (!problem.empty() || value.size() > kMaxValueBytes) {
            throw HostError(key, problem.empty() ? "is too large for a pack" : problem,
                            "rename or shrink the file");
        }
    }
    OutputFile file(path, OutputFile::Mode::RegularFile);
    if (!DataEncrypt::saveDatas_toFilePath(entries, file.descriptorPath())) {
        throw HostError(path, "cannot be written: " + systemErrorText(), kPlaceAdvice);
    }
    // The writer does not report a full disk, but then the file is too short.
    struct stat status;
    if (fstat(file.descriptor(), &status) != 0 ||
        static_cast<std::uintmax_t>(status.st_size) != sizeOfPack(entries)) {
        throw HostError(path, "cannot be written whole; the disk may be full", kPlaceAdvice);
    }
    file.commit();
}

ConfinedFolder::ConfinedFolder(const std::string &path) : _path(path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    _descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (_descriptor < 0) {
        throw HostError(path, "cannot be used as a folder: " + systemErrorText(),
                        "give another folder");
    }
}

ConfinedFolder::~ConfinedFolder() { close(_descriptor); }

std::string ConfinedFolder::problemOfName(const std::string &name) {
    const auto isControl = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7f;
    };
    const auto leadsOut = [](const std::string &part) {
        return part.empty() || part == "." || part == "..";
    };
    const auto parts = partsOf(name);
    if (std::any_of(name.begin(), name.end(), isControl) ||
        std::any_of(parts.begin(), parts.end(), leadsOut)) {
        return "would leave the folder";
    }
    return parts.size() > kMaxFolders + 1
               ? "lies in more than " + std::to_string(kMaxFolders) + " folders within one another"
               : "";
}

void ConfinedFolder::writeFile(const std::string &name, std::span<const std::uint8_t> bytes) const {
    const std::string problem = problemOfName(name);
    if (!problem.empty()) {
        throw HostError(_path, "\"" + name + "\" " + problem, "take the entry out");
    }
    const auto parts = partsOf(name);
    const int parent = openParent(parts);
    if (parent < 0) {
        fail(name);
    }
    try {
        if (isLink(parent, parts.back())) {
            errno = ELOOP;
            fail(name);
        }
        OutputFile file(parent, parts.back(), _path + "/" + name);
        file.write(bytes.data(), bytes.size());
        file.commit();
    } catch (const HostError &) {
        close(parent);
        throw;
    }
    close(parent);
}

/// Returns a descriptor of the file's folder, which the caller closes; -1 with errno set.
int ConfinedFolder::openParent(const std::vector<std::string> &parts) const {
    int folder = dup(_descriptor);
    for (std::size_t i = 0; folder >= 0 && i + 1 < parts.size(); ++i) {
        mkdirat(folder, parts[i].c_str(), 0777);
        const int inner = openat(folder, parts[i].c_str(), kFolderFlags);
        const int error = errno;
        close(folder);
        errno = error;
        folder = inner;
    }
    return folder;
}

void ConfinedFolder::fail(const std::string &name) const {
    const std::string path = _path + "/" + name;
    if (errno == ELOOP) {
        throw HostError(path, "is a symbolic link or lies behind one",
                        "remove it or extract elsewhere");
    }
    throw HostError(path, "cannot be written: " + systemErrorText(), kPlaceAdvice);
}

} // namespace Lumivera
