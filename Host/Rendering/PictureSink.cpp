#include "Host/Rendering/PictureSink.h"

#include "Host/Support/HostError.h"

#include <png.h>
#include <vector>

namespace Lumivera {

namespace {

/// Without the fourth byte, which is the same everywhere.
std::vector<std::uint8_t> colorsOf(std::span<const std::uint32_t> pixels) {
    std::vector<std::uint8_t> colors;
    colors.reserve(pixels.size() * 3);
    for (const std::uint32_t pixel : pixels) {
        colors.push_back(static_cast<std::uint8_t>(pixel >> 16));
        colors.push_back(static_cast<std::uint8_t>(pixel >> 8));
        colors.push_back(static_cast<std::uint8_t>(pixel));
    }
    return colors;
}

} // namespace

PictureSink::PictureSink(const std::string &path, const Format &format)
    : _format(format), _file(path) {}

void PictureSink::writeFrame(NSUInteger, std::span<const std::uint32_t> pixels) {
    writePicture(_file, _format.width, _format.height, pixels);
}

void PictureSink::finish() {
    _file.commit();
}

void PictureSink::writePicture(OutputFile &file, std::size_t width, std::size_t height,
                               std::span<const std::uint32_t> pixels) {
    const std::vector<std::uint8_t> colors = colorsOf(pixels);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<std::uint8_t> bytes(size);
    if (!png_image_write_to_memory(&image, bytes.data(), &size, 0, colors.data(), 0, nullptr)) {
        throw HostError(file.path(), std::string("cannot be encoded: ") + image.message);
    }
    file.write(bytes.data(), size);
}

} // namespace Lumivera
