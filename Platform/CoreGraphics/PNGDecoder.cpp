#include "Platform/CoreGraphics/PictureDecoders.h"

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <iterator>
#include <optional>
#include <png.h>
#include <vector>

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

/// The chunks that do not affect the pixels. The library skips them, so that no compressed text is
/// unpacked.
constexpr png_byte kSkippedChunks[] = "bKGD\0hIST\0iTXt\0oFFs\0pCAL\0pHYs\0sBIT\0sCAL\0sPLT\0tEXt\0"
                                      "tIME\0zTXt";

class PNGReader {
  public:
    explicit PNGReader(std::span<const std::uint8_t> file);
    ~PNGReader() { png_destroy_read_struct(&_png, &_info, nullptr); }
    PNGReader(const PNGReader &) = delete;
    PNGReader &operator=(const PNGReader &) = delete;

    /// Reads up to the first byte of the pixels; false on failure. Afterwards the size is known.
    bool readHeader(const PictureRequest &request);
    std::uint64_t width() const { return png_get_image_width(_png, _info); }
    std::uint64_t height() const { return png_get_image_height(_png, _info); }

    bool isInterlaced() const { return png_get_interlace_type(_png, _info) != PNG_INTERLACE_NONE; }
    bool hasWords() const { return png_get_bit_depth(_png, _info) == 16; }

    /// From the colours that the header describes to sRGB; empty when they are sRGB.
    ColorConversion conversion() const;

    /// Reads the rest of the file. `words` is scratch for a row of 16-bit components that are to be
    /// converted, else empty. The reducer, null for none, makes a picture that is not interlaced
    /// smaller.
    bool readPixels(PictureBuffer &buffer, const ColorConversion &conversion,
                    std::span<std::uint8_t> words, RowReducer *reducer);

    /// Known only after readPixels(), because Exif data may follow the pixels.
    PictureOrientation orientation() const;

  private:
    ColorConversion::Pixels pixelKind() const;
    std::optional<double> gamma() const;
    std::optional<ColorConversion::Chromaticities> chromaticities() const;
    void askForRGBA(bool asWords);
    bool isEndSound() const;
    void readReduced(RowReducer &reducer, const ColorConversion &conversion,
                     std::span<std::uint8_t> words);
    void readWords(PictureBuffer &buffer, const ColorConversion &conversion,
                   std::span<std::uint8_t> words, int passes);

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

/// libpng reports errors by longjmp, which runs no destructors, so the two functions that call
/// setjmp and those that they call make no objects with destructors.
bool PNGReader::readHeader(const PictureRequest &request) {
    constexpr png_uint_32 kMaxReducedSide = 1 << 20;
    if (!_info || setjmp(png_jmpbuf(_png))) {
        return false;
    }
    const png_uint_32 maxSide = request.mayReduce() ? kMaxReducedSide : CGImage::kMaxSide;
    png_set_read_fn(_png, &_left, readBytes);
    png_set_user_limits(_png, maxSide, maxSide);
    png_set_chunk_malloc_max(_png, ColorConversion::kMaxProfileBytes);
    png_set_keep_unknown_chunks(_png, PNG_HANDLE_CHUNK_NEVER, kSkippedChunks,
                                (sizeof kSkippedChunks) / 5);
    png_read_info(_png, _info);
    return true;
}

ColorConversion::Pixels PNGReader::pixelKind() const {
    using Pixels = ColorConversion::Pixels;
    if (png_get_color_type(_png, _info) & PNG_COLOR_MASK_COLOR) {
        return hasWords() ? Pixels::ColorWords : Pixels::Colors;
    }
    return hasWords() ? Pixels::GreyWords : Pixels::Greys;
}

std::optional<double> PNGReader::gamma() const {
    double gamma = 0;
    return png_get_gAMA(_png, _info, &gamma) ? std::optional(gamma) : std::nullopt;
}

std::optional<ColorConversion::Chromaticities> PNGReader::chromaticities() const {
    ColorConversion::Chromaticities c{};
    const bool areThere = png_get_cHRM(_png, _info, &c.white[0], &c.white[1], &c.red[0], &c.red[1],
                                       &c.green[0], &c.green[1], &c.blue[0], &c.blue[1]) != 0;
    return areThere ? std::optional(c) : std::nullopt;
}

ColorConversion PNGReader::conversion() const {
    if (png_get_valid(_png, _info, PNG_INFO_sRGB)) {
        return {};
    }
    png_charp name = nullptr;
    int compression = 0;
    png_bytep profile = nullptr;
    png_uint_32 size = 0;
    if (png_get_iCCP(_png, _info, &name, &compression, &profile, &size)) {
        return ColorConversion::fromProfile({profile, size}, pixelKind());
    }
    const auto exponent = gamma();
    const auto primaries = chromaticities();
    return exponent || primaries ? ColorConversion::fromGamma(exponent, primaries, pixelKind())
                                 : ColorConversion();
}

PictureOrientation PNGReader::orientation() const {
    png_uint_32 size = 0;
    png_bytep exif = nullptr;
    return png_get_eXIf_1(_png, _info, &size, &exif) ? PictureOrientation::inExif({exif, size})
                                                     : PictureOrientation();
}

void PNGReader::askForRGBA(bool asWords) {
    png_set_expand(_png);
    if (!asWords) {
        png_set_scale_16(_png);
    }
    png_set_gray_to_rgb(_png);
    png_set_add_alpha(_png, asWords ? 0xffff : 0xff, PNG_FILLER_AFTER);
}

bool PNGReader::readPixels(PictureBuffer &buffer, const ColorConversion &conversion,
                           std::span<std::uint8_t> words, RowReducer *reducer) {
    if (setjmp(png_jmpbuf(_png))) {
        return false;
    }
    askForRGBA(!words.empty());
    const int passes = png_set_interlace_handling(_png);
    png_read_update_info(_png, _info);
    if (png_get_rowbytes(_png, _info) != width() * (words.empty() ? 4 : 8)) {
        return false;
    }
    if (reducer) {
        readReduced(*reducer, conversion, words);
    } else if (!words.empty()) {
        readWords(buffer, conversion, words, passes);
    }
    for (int pass = 0; pass < passes && words.empty() && !reducer; ++pass) {
        for (std::size_t y = 0; y < buffer.height(); ++y) {
            png_read_row(_png, buffer.row(y), nullptr);
        }
    }
    png_read_end(_png, _info);
    return isEndSound();
}

void PNGReader::readReduced(RowReducer &reducer, const ColorConversion &conversion,
                            std::span<std::uint8_t> words) {
    for (std::uint64_t y = 0; y < height(); ++y) {
        if (words.empty()) {
            png_read_row(_png, reducer.row(), nullptr);
        } else {
            png_read_row(_png, words.data(), nullptr);
            conversion.convert(words.data(), reducer.row(), width());
        }
        reducer.endRow();
    }
}

/// Checks the end chunk, because newer versions of the library do not.
bool PNGReader::isEndSound() const {
    constexpr std::uint8_t kEnd[] = {0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xae, 0x42, 0x60, 0x82};
    return std::equal(std::begin(kEnd), std::end(kEnd), _left.data() - sizeof kEnd);
}

/// Converts each row when it is read, so that no whole picture of 16-bit components is held.
void PNGReader::readWords(PictureBuffer &buffer, const ColorConversion &conversion,
                          std::span<std::uint8_t> words, int passes) {
    for (int pass = 0; pass < passes; ++pass) {
        for (std::size_t y = 0; y < buffer.height(); ++y) {
            png_read_row(_png, words.data(), nullptr);
            if (passes == 1) {
                conversion.convert(words.data(), buffer.row(y), buffer.width());
            } else if (PNG_ROW_IN_INTERLACE_PASS(y, pass)) {
                const std::size_t step = std::size_t{1} << PNG_PASS_COL_SHIFT(pass);
                for (std::size_t x = PNG_PASS_START_COL(pass); x < buffer.width(); x += step) {
                    conversion.convert(&words[x * 8], buffer.row(y) + x * 4, 1);
                }
            }
        }
    }
}

/// The side of the square of the file's pixels that becomes one pixel. The orientation may follow
/// the pixels, so the picture is large enough for any.
std::size_t squareFor(const PNGReader &reader, const PictureRequest &request) {
    if (reader.isInterlaced()) {
        return 1;
    }
    const double factor = std::max(request.factorFor(reader.width(), reader.height(), false),
                                   request.factorFor(reader.width(), reader.height(), true));
    auto square = static_cast<std::size_t>(1 / factor);
    while (!CGImage::isSizeSupported(RowReducer::sizeFor(reader.width(), square),
                                     RowReducer::sizeFor(reader.height(), square))) {
        ++square;
    }
    return square;
}

} // namespace

Retained<CGImage> decodePNG(std::span<const std::uint8_t> file, const PictureRequest &request) {
    PNGReader reader(file);
    if (!reader.readHeader(request) || !request.isAcceptable(reader.width(), reader.height())) {
        return nullptr;
    }
    const std::size_t square = squareFor(reader, request);
    PictureBuffer buffer(RowReducer::sizeFor(reader.width(), square),
                         RowReducer::sizeFor(reader.height(), square), request.maxPixels);
    if (!buffer) {
        return nullptr;
    }
    const ColorConversion conversion = reader.conversion();
    const bool areWordsConverted = conversion && reader.hasWords();
    std::vector<std::uint8_t> words(areWordsConverted ? reader.width() * 8 : 0);
    std::optional<RowReducer> reducer;
    if (square > 1) {
        reducer.emplace(buffer, reader.width(), reader.height(), square);
    }
    if (!reader.readPixels(buffer, conversion, words, reducer ? &*reducer : nullptr)) {
        return nullptr;
    }
    if (conversion && !areWordsConverted) {
        buffer.convertColors(conversion);
    }
    return buffer.premultipliedImage(reader.orientation());
}
