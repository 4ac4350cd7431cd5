#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

/// Builds binary property lists, valid or not, object by object.
class BinaryPropertyListBuilder {
  public:
    using Bytes = std::vector<std::uint8_t>;
    using References = std::vector<std::uint64_t>;

    explicit BinaryPropertyListBuilder(std::size_t referenceSize = 1, std::size_t offsetSize = 2)
        : _referenceSize(referenceSize), _offsetSize(offsetSize) {}

    /// Adds an object's bytes and returns its number.
    std::uint64_t add(const Bytes &object) {
        _offsets.push_back(_bytes.size());
        _bytes.insert(_bytes.end(), object.begin(), object.end());
        return _offsets.size() - 1;
    }

    std::uint64_t addText(std::string_view text) {
        Bytes object = start(0x50, text.size());
        object.insert(object.end(), text.begin(), text.end());
        return add(object);
    }

    std::uint64_t addData(const Bytes &data) {
        Bytes object = start(0x40, data.size());
        object.insert(object.end(), data.begin(), data.end());
        return add(object);
    }

    std::uint64_t addArray(const References &values) {
        Bytes object = start(0xa0, values.size());
        appendReferences(object, values);
        return add(object);
    }

    std::uint64_t addDictionary(const References &keys, const References &values) {
        Bytes object = start(0xd0, keys.size());
        appendReferences(object, keys);
        appendReferences(object, values);
        return add(object);
    }

    /// The number that the next object will get.
    std::uint64_t next() const { return _offsets.size(); }

    /// The file, with the object of a number as its root.
    Bytes finish(std::uint64_t top = 0) const {
        Bytes file = _bytes;
        for (const std::uint64_t offset : _offsets) {
            append(file, offset, _offsetSize);
        }
        file.insert(file.end(), 6, 0);
        append(file, _offsetSize, 1);
        append(file, _referenceSize, 1);
        append(file, _offsets.size(), 8);
        append(file, top, 8);
        append(file, _bytes.size(), 8);
        return file;
    }

    static void append(Bytes &bytes, std::uint64_t value, std::size_t size) {
        for (std::size_t i = size; i-- > 0;) {
            bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    }

  private:
    static constexpr std::string_view kMagic = "bplist00";

    static Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

    /// The first byte of an object and its length.
    static Bytes start(std::uint8_t kind, std::size_t length) {
        if (length < 15) {
            return {static_cast<std::uint8_t>(kind | length)};
        }
        Bytes bytes{static_cast<std::uint8_t>(kind | 0x0f), 0x12};
        append(bytes, length, 4);
        return bytes;
    }

    void appendReferences(Bytes &object, const References &references) const {
        for (const std::uint64_t reference : references) {
            append(object, reference, _referenceSize);
        }
    }

    const std::size_t _referenceSize;
    const std::size_t _offsetSize;
    Bytes _bytes = bytesOf(kMagic);
    std::vector<std::uint64_t> _offsets;
};
