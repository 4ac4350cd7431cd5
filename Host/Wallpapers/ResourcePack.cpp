#include "Host/Wallpapers/ResourcePack.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kPlaceAdvice = "check the folder, its permissions and the free space";

/// As "entry 2 of 3, at byte 21,".
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

/// Names the first entry that is hidden behind a later one of its name, and counts the others.
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

/// The new pack beside its place until it is moved there.
class TemporaryFile {
  public:
    explicit TemporaryFile(std::string path) : _path(std::move(path)) {}
    ~TemporaryFile() { unlink(_path.c_str()); }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    const std::string &path() const { return _path; }

  private:
    const std::string _path;
};

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
    constexpr std::uintmax_t kLargestValue = std::numeric_limits<std::int32_t>::max();
    for (const auto &[key, value] : entries) {
        const std::string problem = problemOfKey(key);
        if (!problem.empty() || value.size() > kLargestValue) {
            throw HostError(key, problem.empty() ? "is too large for a pack" : problem,
                            "rename or shrink the file");
        }
    }
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw HostError(path, "is no regular file", "give another name for the pack");
    }
    const TemporaryFile file(OutputFile::temporaryPathFor(path));
    if (!DataEncrypt::saveDatas_toFilePath(entries, file.path())) {
        throw HostError(path, "cannot be written: " + systemErrorText(), kPlaceAdvice);
    }
    // The writer does not notice a full disk; the file's size does.
    std::error_code error;
    if (std::filesystem::file_size(file.path(), error) != sizeOfPack(entries) || error) {
        throw HostError(path, "cannot be written whole; the disk may be full", kPlaceAdvice);
    }
    if (std::rename(file.path().c_str(), path.c_str()) != 0) {
        throw HostError(path, "cannot be written: " + systemErrorText(), kPlaceAdvice);
    }
}

} // namespace Lumivera
