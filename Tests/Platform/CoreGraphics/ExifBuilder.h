#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Offsets in the data of exifWithOrientation(), for tests that change them.
struct ExifPlaces {
    static constexpr std::size_t kType = 8 + 2 + 12 + 2;
    static constexpr std::size_t kEnd = 8 + 2 + 12 + 10;
};

/// Exif data with two entries, of which the second one is the orientation.
inline std::vector<std::uint8_t> exifWithOrientation(std::uint16_t orientation, bool isBigEndian) {
    std::vector<std::uint8_t> bytes;
    const auto add = [&](std::uint32_t value, int width) {
        for (int i = 0; i < width; ++i) {
            const int shift = 8 * (isBigEndian ? width - 1 - i : i);
            bytes.push_back(static_cast<std::uint8_t>(value >> shift));
        }
    };
    bytes.assign(2, isBigEndian ? 'M' : 'I');
    add(42, 2);
    add(8, 4);
    add(2, 2);
    add(0x100, 2); // the width: a number of four bytes
    add(4, 2);
    add(1, 4);
    add(6, 4);
    add(0x112, 2); // the orientation: a number of two bytes
    add(3, 2);
    add(1, 4);
    add(orientation, 2);
    add(0, 2);
    add(0, 4); // no other directory
    return bytes;
}
