#include "Host/Desktop/LastGoodBundle.h"

#include "Host/Support/OutputFile.h"
#include "Host/Support/Patience.h"
#include "Host/Wallpapers/Places.h"
#include "Platform/Foundation/NSFileManager.h"

#include <filesystem>
#include <string_view>

namespace Lumivera {

namespace {

constexpr std::size_t kMaxPath = 4096;

} // namespace

LastGoodBundle::LastGoodBundle(std::string filePath) : _filePath(std::move(filePath)) {
    const auto path = Patience::resultOf<std::string>([file = _filePath] {
        const auto bytes = readFile(file, kMaxPath);
        const std::string text = bytes ? std::string(bytes->begin(), bytes->end()) : "";
        return text.substr(0, text.find_first_of(std::string_view("\n\0", 2)));
    });
    _path = path.value_or("");
}

void LastGoodBundle::set(const std::string &path) {
    if (path == _path) {
        return;
    }
    _path = path;
    if (_filePath.empty()) {
        return;
    }
    try {
        Patience::finish([target = _filePath, path] {
            std::error_code error;
            std::filesystem::create_directories(std::filesystem::path(target).parent_path(), error);
            OutputFile file(target, OutputFile::Mode::RegularFile);
            file.write(path + "\n");
            file.commit();
        });
    } catch (const std::exception &) {
        // The path is still used while this host runs.
    }
}

std::string LastGoodBundle::userFilePath() { return Places::statePath("lumivera/last-good"); }

} // namespace Lumivera
