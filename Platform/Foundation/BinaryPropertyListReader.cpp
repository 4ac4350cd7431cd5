#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/PropertyListReading.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <string_view>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;
constexpr std::uint8_t kLengthFollows = 0x0f;

/// The high half of an object's first byte.
enum class Kind : std::uint8_t {
    Constant = 0x0,
    Integer = 0x1,
    Real = 0x2,
    Date = 0x3,
    Data = 0x4,
    ASCIIText = 0x5,
    UTF16Text = 0x6,
    Array = 0xa,
    Dictionary = 0xd,
};

/// At most 8 bytes, high byte first.
std::uint64_t unsignedNumber(Bytes bytes) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes) {
        value = value << 8 | byte;
    }
    return value;
}

std::string characters(Bytes bytes) { return {bytes.begin(), bytes.end()}; }

/// The trailer, the last 32 bytes of the file, which says where everything else lies.
struct Layout {
    std::size_t offsetSize;
    std::size_t referenceSize;
    std::uint64_t objectCount;
    std::uint64_t topObject;
    std::uint64_t tableStart;
};

bool isSizeOfNumber(std::size_t size) { return size >= 1 && size <= 8; }

/// The objects end where the offset table starts, and that ends where the trailer starts.
bool isSound(const Layout &layout, std::uint64_t tableEnd) {
    return isSizeOfNumber(layout.offsetSize) && isSizeOfNumber(layout.referenceSize) &&
           layout.tableStart < tableEnd &&
           (tableEnd - layout.tableStart) % layout.offsetSize == 0 &&
           (tableEnd - layout.tableStart) / layout.offsetSize == layout.objectCount;
}

std::optional<Layout> readLayout(Bytes bytes) {
    if (bytes.size() < kMagic.size() + kTrailerSize) {
        return std::nullopt;
    }
    const Bytes trailer = bytes.last(kTrailerSize);
    const Layout layout{
        .offsetSize = trailer[6],
        .referenceSize = trailer[7],
        .objectCount = unsignedNumber(trailer.subspan(8, 8)),
        .topObject = unsignedNumber(trailer.subspan(16, 8)),
        .tableStart = unsignedNumber(trailer.subspan(24, 8)),
    };
    if (!isSound(layout, bytes.size() - kTrailerSize)) {
        return std::nullopt;
    }
    return layout;
}

/// Takes bytes off the front of what is left of the objects.
class Cursor {
  public:
    explicit Cursor(Bytes bytes) : _left(bytes) {}

    std::optional<Bytes> take(std::uint64_t size) {
        if (size > _left.size()) {
            return std::nullopt;
        }
        const Bytes taken = _left.first(size);
        _left = _left.subspan(size);
        return taken;
    }

    std::optional<std::uint8_t> takeByte() {
        const auto byte = take(1);
        return byte ? std::optional(byte->front()) : std::nullopt;
    }

    /// The number of items of that size that could still follow.
    std::uint64_t room(std::size_t itemSize) const { return _left.size() / itemSize; }

  private:
    Bytes _left;
};

/// A two's complement number of 16 bytes.
PropertyList wideInteger(Bytes bytes) {
    const auto high = std::bit_cast<std::int64_t>(unsignedNumber(bytes.first(8)));
    const std::uint64_t low = unsignedNumber(bytes.last(8));
    const auto narrow = std::bit_cast<std::int64_t>(low);
    if (high == (narrow < 0 ? -1 : 0)) {
        return PropertyList(narrow);
    }
    return PropertyList(std::ldexp(static_cast<double>(high), 64) + static_cast<double>(low));
}

/// Integers of 1, 2 and 4 bytes are unsigned; those of 8 and 16 bytes are signed.
std::optional<PropertyList> readInteger(Cursor &cursor, std::uint8_t sizeExponent) {
    const auto bytes = sizeExponent <= 4 ? cursor.take(1u << sizeExponent) : std::nullopt;
    if (!bytes) {
        return std::nullopt;
    }
    if (bytes->size() == 16) {
        return wideInteger(*bytes);
    }
    return PropertyList(std::bit_cast<std::int64_t>(unsignedNumber(*bytes)));
}

std::optional<double> readReal(Cursor &cursor, std::uint8_t sizeExponent) {
    const auto bytes =
        sizeExponent == 2 || sizeExponent == 3 ? cursor.take(1u << sizeExponent) : std::nullopt;
    if (!bytes) {
        return std::nullopt;
    }
    const std::uint64_t bits = unsignedNumber(*bytes);
    return bytes->size() == 4 ? std::bit_cast<float>(static_cast<std::uint32_t>(bits))
                              : std::bit_cast<double>(bits);
}

std::optional<PropertyList> readConstant(std::uint8_t code) {
    if (code == 0x8 || code == 0x9) {
        return PropertyList(code == 0x9);
    }
    return std::nullopt;
}

std::optional<PropertyList> readRealNumber(Cursor &cursor, std::uint8_t sizeExponent) {
    const auto value = readReal(cursor, sizeExponent);
    return value ? std::optional(PropertyList(*value)) : std::nullopt;
}

std::optional<PropertyList> readDate(Cursor &cursor, std::uint8_t sizeExponent) {
    const auto seconds = sizeExponent == 3 ? readReal(cursor, sizeExponent) : std::nullopt;
    return seconds ? std::optional(PropertyList(PropertyList::Date{*seconds})) : std::nullopt;
}

/// The length of a list or text: the low half of the first byte, or an integer that follows it.
std::optional<std::uint64_t> readLength(Cursor &cursor, std::uint8_t code) {
    if (code != kLengthFollows) {
        return code;
    }
    const auto marker = cursor.takeByte();
    if (!marker || (*marker & 0xfc) != 0x10) {
        return std::nullopt;
    }
    const auto bytes = cursor.take(1u << (*marker & 0x03));
    return bytes ? std::optional(unsignedNumber(*bytes)) : std::nullopt;
}

bool isASCII(Bytes bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte < 0x80; });
}

class BinaryReader {
  public:
    BinaryReader(Bytes bytes, const Layout &layout) : _bytes(bytes), _layout(layout) {}

    std::optional<PropertyList> readTop() {
        return _budget.takeNodes(1) ? readObject(_layout.topObject, 1) : std::nullopt;
    }

  private:
    std::optional<Cursor> cursorAt(std::uint64_t object) const;
    std::optional<PropertyList> readObject(std::uint64_t object, std::size_t depth);
    std::optional<PropertyList> readData(Cursor &cursor, std::uint8_t code);
    std::optional<std::string> readText(Cursor &cursor, Kind kind, std::uint8_t code);
    std::optional<std::string> readKey(std::uint64_t object);
    std::optional<PropertyList> readArray(Cursor &cursor, std::uint8_t code, std::size_t depth);
    std::optional<PropertyList> readDictionary(Cursor &cursor, std::uint8_t code,
                                               std::size_t depth);
    std::optional<Bytes> takeReferences(Cursor &cursor, std::uint8_t code, std::size_t perItem);
    std::uint64_t reference(Bytes references, std::size_t index) const;

    const Bytes _bytes;
    const Layout _layout;
    PropertyListBudget _budget;
};

/// A cursor at an object's first byte; its bytes reach up to the offset table.
std::optional<Cursor> BinaryReader::cursorAt(std::uint64_t object) const {
    if (object >= _layout.objectCount) {
        return std::nullopt;
    }
    const std::uint64_t entry = _layout.tableStart + object * _layout.offsetSize;
    const std::uint64_t start = unsignedNumber(_bytes.subspan(entry, _layout.offsetSize));
    if (start < kMagic.size() || start >= _layout.tableStart) {
        return std::nullopt;
    }
    return Cursor(_bytes.first(_layout.tableStart).subspan(start));
}

/// The depth limit also ends the recursion of an object that contains itself.
std::optional<PropertyList> BinaryReader::readObject(std::uint64_t object, std::size_t depth) {
    auto cursor = depth <= PropertyListLimits::kMaxDepth ? cursorAt(object) : std::nullopt;
    const auto marker = cursor ? cursor->takeByte() : std::nullopt;
    if (!marker) {
        return std::nullopt;
    }
    const Kind kind{static_cast<std::uint8_t>(*marker >> 4)};
    const std::uint8_t code = *marker & 0x0f;
    switch (kind) {
    case Kind::Constant:
        return readConstant(code);
    case Kind::Integer:
        return readInteger(*cursor, code);
    case Kind::Real:
        return readRealNumber(*cursor, code);
    case Kind::Date:
        return readDate(*cursor, code);
    case Kind::Data:
        return readData(*cursor, code);
    case Kind::ASCIIText:
    case Kind::UTF16Text: {
        auto text = readText(*cursor, kind, code);
        return text ? std::optional(PropertyList(std::move(*text))) : std::nullopt;
    }
    case Kind::Array:
        return readArray(*cursor, code, depth);
    case Kind::Dictionary:
        return readDictionary(*cursor, code, depth);
    }
    return std::nullopt;
}

std::optional<PropertyList> BinaryReader::readData(Cursor &cursor, std::uint8_t code) {
    const auto length = readLength(cursor, code);
    const auto bytes = length ? cursor.take(*length) : std::nullopt;
    if (!bytes || !_budget.takeContentBytes(bytes->size())) {
        return std::nullopt;
    }
    return PropertyList(PropertyList::Data{{bytes->begin(), bytes->end()}});
}

std::optional<std::string> BinaryReader::readText(Cursor &cursor, Kind kind, std::uint8_t code) {
    const std::size_t unitSize = kind == Kind::UTF16Text ? 2 : 1;
    const auto length = readLength(cursor, code);
    if (!length || *length > cursor.room(unitSize)) {
        return std::nullopt;
    }
    const Bytes bytes = *cursor.take(*length * unitSize);
    if (kind == Kind::ASCIIText) {
        const bool isAccepted = isASCII(bytes) && _budget.takeContentBytes(bytes.size());
        return isAccepted ? std::optional(characters(bytes)) : std::nullopt;
    }
    auto text = utf8FromBigEndianUTF16(bytes);
    return text && _budget.takeContentBytes(text->size()) ? std::move(text) : std::nullopt;
}

std::optional<std::string> BinaryReader::readKey(std::uint64_t object) {
    auto cursor = cursorAt(object);
    const auto marker = cursor ? cursor->takeByte() : std::nullopt;
    if (!marker) {
        return std::nullopt;
    }
    const Kind kind{static_cast<std::uint8_t>(*marker >> 4)};
    const bool isText = kind == Kind::ASCIIText || kind == Kind::UTF16Text;
    return isText ? readText(*cursor, kind, *marker & 0x0f) : std::nullopt;
}

/// The references of a list whose items have `perItem` of them each. All are taken from the budget
/// before any is followed, so that readArray may reserve memory for all items.
std::optional<Bytes> BinaryReader::takeReferences(Cursor &cursor, std::uint8_t code,
                                                  std::size_t perItem) {
    const auto length = readLength(cursor, code);
    if (!length || *length > cursor.room(perItem * _layout.referenceSize) ||
        !_budget.takeNodes(*length * perItem)) {
        return std::nullopt;
    }
    return cursor.take(*length * perItem * _layout.referenceSize);
}

std::uint64_t BinaryReader::reference(Bytes references, std::size_t index) const {
    const std::size_t size = _layout.referenceSize;
    return unsignedNumber(references.subspan(index * size, size));
}

std::optional<PropertyList> BinaryReader::readArray(Cursor &cursor, std::uint8_t code,
                                                    std::size_t depth) {
    const auto references = takeReferences(cursor, code, 1);
    if (!references) {
        return std::nullopt;
    }
    const std::size_t count = references->size() / _layout.referenceSize;
    PropertyList::Array values;
    values.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto value = readObject(reference(*references, i), depth + 1);
        if (!value) {
            return std::nullopt;
        }
        values.push_back(std::move(*value));
    }
    return std::optional<PropertyList>(std::in_place, std::move(values));
}

/// First all keys, then all values.
std::optional<PropertyList> BinaryReader::readDictionary(Cursor &cursor, std::uint8_t code,
                                                         std::size_t depth) {
    const auto references = takeReferences(cursor, code, 2);
    if (!references) {
        return std::nullopt;
    }
    const std::size_t count = references->size() / _layout.referenceSize / 2;
    PropertyList::Dictionary entries;
    for (std::size_t i = 0; i < count; ++i) {
        auto key = readKey(reference(*references, i));
        auto value = key ? readObject(reference(*references, count + i), depth + 1) : std::nullopt;
        if (!value) {
            return std::nullopt;
        }
        entries.insert_or_assign(std::move(*key), std::move(*value));
    }
    return std::optional<PropertyList>(std::in_place, std::move(entries));
}

} // namespace

bool isBinaryPropertyList(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= kMagic.size() && std::equal(kMagic.begin(), kMagic.end(), bytes.begin());
}

std::optional<PropertyList> readBinaryPropertyList(std::span<const std::uint8_t> bytes) {
    const auto layout = readLayout(bytes);
    return layout ? BinaryReader(bytes, *layout).readTop() : std::nullopt;
}
