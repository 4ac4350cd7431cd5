#include "Host/Rendering/PictureSink.h"

#include "Host/Support/HostError.h"
#include "Platform/CoreGraphics/CGImageEncoding.h"

namespace Lumivera {

PictureSink::PictureSink(const std::string &path, const Format &format)
    : _format(format), _file(path) {}

void PictureSink::writeFrame(NSUInteger, std::span<const std::uint32_t> pixels) {
    writePicture(_file, _format.width, _format.height, pixels, kSmall);
}

void PictureSink::finish() { _file.commit(); }

void PictureSink::writePicture(OutputFile &file, std::size_t width, std::size_t height,
                               std::span<const std::uint32_t> pixels, int compressionLevel) {
    const auto bytes = CGImageWritePNG(pixels.data(), width, height, width, compressionLevel);
    if (bytes.empty()) {
        throw HostError(file.path(), "cannot be encoded: out of memory", "try a smaller size");
    }
    file.write(bytes.data(), bytes.size());
}

} // namespace Lumivera
