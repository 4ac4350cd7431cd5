#include "Host/Rendering/PictureSink.h"

#include "Host/Wallpapers/PictureFile.h"

namespace Lumivera {

PictureSink::PictureSink(const std::string &path, const Format &format)
    : _format(format), _file(path) {}

void PictureSink::writeFrame(NSUInteger, std::span<const std::uint32_t> pixels) {
    PictureFile::writePNG(_file, pixels, _format.width, _format.height,
                          PictureFile::Compression::Small);
}

void PictureSink::finish() { _file.commit(); }

} // namespace Lumivera
