#include "Platform/CoreGraphics/PictureBuffer.h"
#include "Platform/CoreGraphics/PictureDecoders.h"

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <png.h>

namespace {

void fail(png_structp png, png_const_charp) { png_longjmp(png, 1); }

void ignoreWarning(png_structp, png_const_charp) {}

void readBytes(png_structp png, png_bytep to, std::size_t count) {
    auto &left = *static_cast<std::span<const std::uint8_t> *>(png_get_io_ptr(png));
    if (count > left.size()) {
        png_error(png, "truncated");
    }
    std::memcpy(to, left.data(), count);
    left = left.subspan(count);
}

/// The chunks that say nothing about the pixels, or that would have their values changed. The
/// library skips them unread, so that no compressed text or profile is ever unpacked.
constexpr png_byte kSkippedChunks[] = "bKGD\0cHRM\0eXIf\0gAMA\0hIST\0iCCP\0iTXt\0oFFs\0pCAL\0pHYs\0"
                                      "sBIT\0sCAL\0sPLT\0sRGB\0tEXt\0tIME\0zTXt";

class PNGReader {
  public:
    explicit PNGReader(std::span<const std::uint8_t> file);
    ~PNGReader() { png_destroy_read_struct(&_png, &_info, nullptr); }
    PNGReader(const PNGReader &) = delete;
    PNGReader &operator=(const PNGReader &) = delete;

    /// Up to the first byte of the pixels; false when that fails. The size is known then.
    bool readHeader();
    std::uint64_t width() const { return png_get_image_width(_png, _info); }
    std::uint64_t height() const { return png_get_image_height(_png, _info); }

    /// The rest of the file.
    bool readPixels(PictureBuffer &buffer);

  private:
    void askForRGBA();

    std::span<const std::uint8_t> _left;
    png_structp _png;
    png_infop _info = nullptr;
};

PNGReader::PNGReader(std::span<const std::uint8_t> file)
    : _left(file),
      _png(png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, ignoreWarning)) {
    if (_png) {
        _info = png_create_info_struct(_png);
    }
}

// The library leaves by longjmp, which runs no destructors: nothing in the two functions that call
// setjmp, or below them, has one.
bool PNGReader::readHeader() {
    if (!_info || setjmp(png_jmpbuf(_png))) {
        return false;
    }
    png_set_read_fn(_png, &_left, readBytes);
    png_set_user_limits(_png, CGImage::kMaximumSide, CGImage::kMaximumSide);
    png_set_keep_unknown_chunks(_png, PNG_HANDLE_CHUNK_NEVER, kSkippedChunks,
                                (sizeof kSkippedChunks) / 5);
    png_read_info(_png, _info);
    return true;
}

void PNGReader::askForRGBA() {
    png_set_expand(_png);
    png_set_scale_16(_png);
    png_set_gray_to_rgb(_png);
    png_set_add_alpha(_png, 0xff, PNG_FILLER_AFTER);
}

bool PNGReader::readPixels(PictureBuffer &buffer) {
    if (setjmp(png_jmpbuf(_png))) {
        return false;
    }
    askForRGBA();
    const int passes = png_set_interlace_handling(_png);
    png_read_update_info(_png, _info);
    if (png_get_rowbytes(_png, _info) != buffer.bytesPerRow()) {
        return false;
    }
    for (int pass = 0; pass < passes; ++pass) {
        for (std::size_t y = 0; y < buffer.height(); ++y) {
            png_read_row(_png, buffer.row(y), nullptr);
        }
    }
    png_read_end(_png, nullptr);
    return true;
}

} // namespace

Retained<CGImage> decodePNG(std::span<const std::uint8_t> file, std::uint64_t mostPixels) {
    PNGReader reader(file);
    if (!reader.readHeader()) {
        return nullptr;
    }
    PictureBuffer buffer(reader.width(), reader.height(), mostPixels);
    return buffer && reader.readPixels(buffer) ? buffer.premultipliedImage() : nullptr;
}
