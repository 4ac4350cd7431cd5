#include "Host/Playing/Screenshot.h"

#include "Host/Playing/OffscreenPicture.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Host/Wallpapers/Places.h"

#include <ctime>
#include <filesystem>

namespace Lumivera {

namespace {

/// A name that is not taken yet.
std::string freePath() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char time[32];
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", &local);
    const std::string start = Places::picturesFolder() + "/lumivera-" + time;
    std::string path = start + ".png";
    std::error_code error;
    for (int i = 2; std::filesystem::exists(path, error); ++i) {
        path = start + "-" + std::to_string(i) + ".png";
    }
    return path;
}

} // namespace

std::string takeScreenshot(CALayer &root, const PictureSize &size) {
    OffscreenPicture picture(size);
    OutputFile file(freePath());
    PictureFile::writePNG(file, picture.composite(root), picture.width(), picture.height(),
                          PictureFile::Compression::Small);
    file.commit();
    return file.path();
}

} // namespace Lumivera
