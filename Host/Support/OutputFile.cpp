#include "Host/Support/OutputFile.h"

#include "Host/Support/HostError.h"

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kAdvice = "check the folder, its permissions and the free space";

bool isSpecialFile(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

} // namespace

std::string OutputFile::targetOf(const std::string &path) {
    std::error_code error;
    const auto target = std::filesystem::canonical(path, error);
    return error ? path : target.string();
}

std::string OutputFile::temporaryPathFor(const std::string &path) {
    const std::filesystem::path target(path);
    const std::string name =
        "." + target.filename().string() + "." + std::to_string(getpid()) + ".part";
    return (target.parent_path() / name).string();
}

OutputFile::OutputFile(std::string path, Mode mode) : _path(std::move(path)) {
    std::error_code error;
    if (_path.empty() || std::filesystem::is_directory(_path, error)) {
        throw HostError(_path, "is a folder", "give a file name");
    }
    if (mode == Mode::InPlace || isSpecialFile(_path)) {
        _file = std::fopen(_path.c_str(), "wb");
    } else {
        _target = targetOf(_path);
        _temporary = temporaryPathFor(_target);
        _file = std::fopen(_temporary.c_str(), "wb");
    }
    if (!_file) {
        _temporary.clear();
        fail();
    }
}

OutputFile::~OutputFile() {
    if (_file) {
        std::fclose(_file);
    }
    if (!_temporary.empty()) {
        unlink(_temporary.c_str());
    }
}

void OutputFile::write(const void *bytes, std::size_t count) {
    if (std::fwrite(bytes, 1, count, _file) != count) {
        fail();
    }
}

void OutputFile::flush() {
    if (std::fflush(_file) != 0) {
        fail();
    }
}

void OutputFile::commit() {
    std::FILE *file = _file;
    _file = nullptr;
    if (std::fclose(file) != 0) {
        fail();
    }
    if (!_temporary.empty() && std::rename(_temporary.c_str(), _target.c_str()) != 0) {
        fail();
    }
    _temporary.clear();
}

void OutputFile::fail() const {
    throw HostError(_path, "cannot be written: " + systemErrorText(), kAdvice);
}

} // namespace Lumivera
