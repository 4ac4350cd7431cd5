#include "Host/Packs/ResourcePack.h"

#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kPlaceAdvice = "check the folder, its permissions and the free space";

/// Steps over a pack's lengths without reading what they measure.
class PackWalker {
  public:
    explicit PackWalker(const std::string &path) : _file(path, std::ios::binary) {
        std::error_code error;
        const auto size = std::filesystem::file_size(path, error);
        _left = error ? 0 : size;
    }

    bool readLength(std::int32_t &length) {
        std::uint8_t bytes[4];
        if (_left < sizeof bytes || !_file.read(reinterpret_cast<char *>(bytes), sizeof bytes)) {
            return false;
        }
        _left -= sizeof bytes;
        length = DataEncrypt::byteToInt(bytes);
        return true;
    }

    bool skipPart() {
        std::int32_t length = 0;
        if (!readLength(length) || length < 0 || static_cast<std::uint64_t>(length) > _left) {
            return false;
        }
        _left -= static_cast<std::uint64_t>(length);
        _file.seekg(length, std::ios::cur);
        return true;
    }

  private:
    std::ifstream _file;
    std::uint64_t _left = 0;
};

std::string problemOfFile(const std::string &path) {
    PackWalker walker(path);
    std::int32_t count = 0;
    if (!walker.readLength(count) || count < 0) {
        return "is no resource pack";
    }
    for (std::int32_t i = 0; i < count; ++i) {
        if (!walker.skipPart() || !walker.skipPart()) {
            return "is damaged or cut short after " + std::to_string(i) + " of " +
                   std::to_string(count) + " entries";
        }
    }
    return {};
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
    ResourcePack pack;
    pack.problem = problemOfFile(path);
    pack.entries = DataEncrypt::readDatasFromFilePath(path);
    return pack;
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
