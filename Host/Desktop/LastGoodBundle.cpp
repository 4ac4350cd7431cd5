#include "Host/Desktop/LastGoodBundle.h"

#include "Host/Support/OutputFile.h"
#include "Host/Wallpapers/Places.h"

#include <filesystem>
#include <fstream>

namespace Lumivera {

namespace {

constexpr std::size_t kMaxPath = 4096;

} // namespace

LastGoodBundle::LastGoodBundle(std::string filePath) : _filePath(std::move(filePath)) {
    std::error_code error;
    if (std::filesystem::is_regular_file(_filePath, error)) {
        std::ifstream file(_filePath, std::ios::binary);
        std::string line(kMaxPath, '\0');
        file.read(line.data(), static_cast<std::streamsize>(line.size()));
        line.resize(static_cast<std::size_t>(file.gcount()));
        _path = line.substr(0, line.find_first_of(std::string_view("\n\0", 2)));
    }
}

void LastGoodBundle::set(const std::string &path) {
    if (path == _path) {
        return;
    }
    _path = path;
    if (_filePath.empty()) {
        return;
    }
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(_filePath).parent_path(), error);
    try {
        OutputFile file(_filePath);
        file.write(_path + "\n");
        file.commit();
    } catch (const std::exception &) {
        // The path is still used while this host runs.
    }
}

std::string LastGoodBundle::userFilePath() { return Places::statePath("lumivera/last-good"); }

} // namespace Lumivera
