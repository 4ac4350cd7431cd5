#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

/// Makes grey baseline JPEG files of any size without any library and in little memory: the left
/// half has one shade, the right half another.
class JPEGBuilder {
  public:
    using Bytes = std::vector<std::uint8_t>;

    /// The shades of the halves.
    static constexpr int kLeft = 28;
    static constexpr int kRight = 228;

    /// Sides in pixels, multiples of 16.
    static Bytes halves(unsigned width, unsigned height) {
        JPEGBuilder builder;
        builder.appendHead(width, height);
        builder.appendBlocks(width / 8, height / 8);
        builder._file.insert(builder._file.end(), {0xff, 0xd9});
        return builder._file;
    }

  private:
    void appendHead(unsigned width, unsigned height) {
        // One table of quanta, of which that for the mean makes its unit a shade.
        append({0xff, 0xd8, 0xff, 0xdb, 0, 67, 0, 8});
        _file.insert(_file.end(), 63, 1);
        append({0xff, 0xc0, 0, 11, 8, height >> 8, height & 255, width >> 8, width & 255, 1, 1,
                0x11, 0});
        // Codes 0, 10 and 110 for differences of 0, 7 and 8 bits; code 0 for the end of a block.
        append({0xff, 0xc4, 0, 22, 0, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 8});
        append({0xff, 0xc4, 0, 20, 0x10, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        append({0xff, 0xda, 0, 8, 1, 1, 0, 0, 63, 0});
    }

    void appendBlocks(unsigned columns, unsigned rows) {
        int before = 128;
        for (unsigned y = 0; y < rows; ++y) {
            for (unsigned x = 0; x < columns; ++x) {
                const int shade = x < columns / 2 ? kLeft : kRight;
                appendDifference(shade - before);
                before = shade;
                appendBits(0, 1);
            }
        }
        appendBits(0x7f, 7);
    }

    void appendDifference(int difference) {
        if (difference == 0) {
            appendBits(0, 1);
            return;
        }
        const unsigned bits = difference > -128 && difference < 128 ? 7 : 8;
        appendBits(bits == 7 ? 0b10 : 0b110, bits == 7 ? 2 : 3);
        const int value = difference < 0 ? difference + (1 << bits) - 1 : difference;
        appendBits(static_cast<unsigned>(value), bits);
    }

    void appendBits(unsigned value, unsigned count) {
        for (unsigned i = count; i-- > 0;) {
            _bits = _bits << 1 | (value >> i & 1);
            if (++_bitCount == 8) {
                append({_bits});
                if (_bits == 0xff) {
                    append({0});
                }
                _bits = 0;
                _bitCount = 0;
            }
        }
    }

    void append(std::initializer_list<unsigned> bytes) {
        for (const unsigned byte : bytes) {
            _file.push_back(static_cast<std::uint8_t>(byte));
        }
    }

    Bytes _file;
    unsigned _bits = 0;
    unsigned _bitCount = 0;
};
