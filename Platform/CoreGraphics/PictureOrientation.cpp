#include "Platform/CoreGraphics/PictureDecoders.h"

namespace {

constexpr std::size_t kEntrySize = 12;
constexpr std::uint32_t kOrientation = 0x112;
constexpr std::uint32_t kShort = 3;

/// Reads numbers in either byte order; those beyond the end are 0.
class ExifBytes {
  public:
    explicit ExifBytes(std::span<const std::uint8_t> bytes) : _bytes(bytes) {}

    /// False when the data do not begin with a byte order mark.
    bool readByteOrder() {
        _isBigEndian = holdsAt(_bytes, 0, "MM");
        return (_isBigEndian || holdsAt(_bytes, 0, "II")) && number(2, 2) == 42;
    }

    std::uint32_t number(std::size_t offset, std::size_t width) const {
        if (_bytes.size() < width || offset > _bytes.size() - width) {
            return 0;
        }
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < width; ++i) {
            value = value << 8 | _bytes[offset + (_isBigEndian ? i : width - 1 - i)];
        }
        return value;
    }

    void skipName() {
        constexpr std::string_view kName("Exif\0\0", 6);
        if (holdsAt(_bytes, 0, kName)) {
            _bytes = _bytes.subspan(kName.size());
        }
    }

    std::size_t size() const { return _bytes.size(); }

  private:
    std::span<const std::uint8_t> _bytes;
    bool _isBigEndian = false;
};

/// The value of the orientation entry, 1 to 8 when it is valid; 0 when there is none.
std::uint32_t orientationIn(std::span<const std::uint8_t> data) {
    ExifBytes exif(data);
    exif.skipName();
    if (!exif.readByteOrder()) {
        return 0;
    }
    const std::size_t directory = exif.number(4, 4);
    const std::size_t count = exif.number(directory, 2);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = directory + 2 + i * kEntrySize;
        if (entry >= exif.size()) {
            return 0;
        }
        if (exif.number(entry, 2) == kOrientation) {
            return exif.number(entry + 2, 2) == kShort ? exif.number(entry + 8, 2) : 0;
        }
    }
    return 0;
}

} // namespace

PictureOrientation PictureOrientation::inExif(std::span<const std::uint8_t> exif) {
    switch (orientationIn(exif)) {
    case 2:
        return {true, false, false};
    case 3:
        return {true, true, false};
    case 4:
        return {false, true, false};
    case 5:
        return {false, false, true};
    case 6:
        return {false, true, true};
    case 7:
        return {true, true, true};
    case 8:
        return {true, false, true};
    default:
        return {};
    }
}
