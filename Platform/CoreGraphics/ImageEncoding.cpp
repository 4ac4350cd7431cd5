#include "Platform/CoreGraphics/CGImage.h"

#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <new>
#include <png.h>
#include <zlib.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kFastLevel = 1;

struct Bitmap {
    const std::uint32_t *pixels;
    std::size_t width;
    std::size_t height;
    std::size_t stride;

    const std::uint32_t *row(std::size_t y) const { return pixels + y * stride; }
};

bool isOpaque(const Bitmap &bitmap) {
    for (std::size_t y = 0; y < bitmap.height; ++y) {
        if (!areOpaque({bitmap.row(y), bitmap.width})) {
            return false;
        }
    }
    return true;
}

void writeOpaqueRow(const std::uint32_t *row, std::size_t width, std::uint8_t *to) {
    for (std::size_t x = 0; x < width; ++x, to += 3) {
        to[0] = static_cast<std::uint8_t>(row[x] >> 16);
        to[1] = static_cast<std::uint8_t>(row[x] >> 8);
        to[2] = static_cast<std::uint8_t>(row[x]);
    }
}

void writeRow(const std::uint32_t *row, std::size_t width, std::uint8_t *to) {
    for (std::size_t x = 0; x < width; ++x, to += 4) {
        const std::uint32_t alpha = row[x] >> 24;
        for (int i = 0; i < 3; ++i) {
            const std::uint32_t component = row[x] >> (16 - 8 * i) & 0xff;
            to[i] = static_cast<std::uint8_t>(unpremultipliedComponent(component, alpha));
        }
        to[3] = static_cast<std::uint8_t>(alpha);
    }
}

void fail(png_structp png, png_const_charp) { png_longjmp(png, 1); }

void ignoreWarning(png_structp, png_const_charp) {}

bool append(Bytes &file, const std::uint8_t *bytes, std::size_t count) {
    try {
        file.insert(file.end(), bytes, bytes + count);
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

void writeBytes(png_structp png, png_bytep bytes, std::size_t count) {
    if (!append(*static_cast<Bytes *>(png_get_io_ptr(png)), bytes, count)) {
        png_error(png, "no memory");
    }
}

void flushNothing(png_structp) {}

class PNGWriter {
  public:
    explicit PNGWriter(Bytes &file);
    ~PNGWriter() { png_destroy_write_struct(&_png, &_info); }
    PNGWriter(const PNGWriter &) = delete;
    PNGWriter &operator=(const PNGWriter &) = delete;

    bool write(const Bitmap &bitmap, int compressionLevel);

  private:
    void writeHeader(const Bitmap &bitmap, int compressionLevel);

    Bytes &_file;
    Bytes _row;
    bool _isOpaque = false;
    png_structp _png;
    png_infop _info = nullptr;
};

PNGWriter::PNGWriter(Bytes &file)
    : _file(file),
      _png(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, ignoreWarning)) {
    if (_png) {
        _info = png_create_info_struct(_png);
    }
}

void PNGWriter::writeHeader(const Bitmap &bitmap, int compressionLevel) {
    png_set_write_fn(_png, &_file, writeBytes, flushNothing);
    png_set_compression_level(_png, compressionLevel);
    // Searching for matches, and for each row's best filter, takes most of the time.
    if (compressionLevel <= kFastLevel) {
        png_set_compression_strategy(_png, Z_RLE);
        png_set_filter(_png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    } else {
        png_set_filter(_png, PNG_FILTER_TYPE_BASE, PNG_ALL_FILTERS);
    }
    png_set_IHDR(_png, _info, static_cast<png_uint_32>(bitmap.width),
                 static_cast<png_uint_32>(bitmap.height), 8,
                 _isOpaque ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(_png, _info);
}

/// libpng reports errors by longjmp, which runs no destructors, so no object with a destructor may
/// be made in this function after setjmp.
bool PNGWriter::write(const Bitmap &bitmap, int compressionLevel) {
    _isOpaque = isOpaque(bitmap);
    _row.resize(bitmap.width * (_isOpaque ? 3 : 4));
    if (!_info || setjmp(png_jmpbuf(_png))) {
        return false;
    }
    writeHeader(bitmap, compressionLevel);
    for (std::size_t y = 0; y < bitmap.height; ++y) {
        (_isOpaque ? writeOpaqueRow : writeRow)(bitmap.row(y), bitmap.width, _row.data());
        png_write_row(_png, _row.data());
    }
    png_write_end(_png, nullptr);
    return true;
}

} // namespace

std::vector<std::uint8_t> encodePNG(const std::uint32_t *pixels, NSUInteger width,
                                    NSUInteger height, NSUInteger stride, int compressionLevel) {
    if (!CGImage::isSizeSupported(width, height) || stride < width) {
        return {};
    }
    try {
        Bytes file;
        const bool isWritten = PNGWriter(file).write({pixels, width, height, stride},
                                                     std::clamp(compressionLevel, 0, 9));
        return isWritten ? file : Bytes();
    } catch (const std::bad_alloc &) {
        return {};
    }
}
