#include "Host/Showing/Screenshot.h"

#include "Host/Bundles/Places.h"
#include "Host/Rendering/OffscreenPicture.h"
#include "Host/Rendering/PictureSink.h"

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
    PictureSink::writePicture(file, picture.width(), picture.height(), picture.composite(root),
                              PictureSink::kSmall);
    file.commit();
    return file.path();
}

} // namespace Lumivera
