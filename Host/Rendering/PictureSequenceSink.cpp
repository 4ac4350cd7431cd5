#include "Host/Rendering/PictureSequenceSink.h"

#include "Host/Wallpapers/PictureFile.h"

#include <unistd.h>

namespace Lumivera {

PictureSequenceSink::PictureSequenceSink(NumberPattern pattern, const Format &format)
    : _pattern(std::move(pattern)), _format(format) {}

PictureSequenceSink::~PictureSequenceSink() {
    for (const std::string &path : _written) {
        unlink(path.c_str());
    }
}

void PictureSequenceSink::writeFrame(NSUInteger frame, std::span<const std::uint32_t> pixels) {
    OutputFile file(_pattern.pathFor(frame));
    PictureFile::writePNG(file, pixels, _format.width, _format.height,
                          PictureFile::Compression::Fast);
    file.commit();
    _written.push_back(file.path());
}

} // namespace Lumivera
