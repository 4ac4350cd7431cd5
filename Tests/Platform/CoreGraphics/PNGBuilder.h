#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/// Makes PNG files byte by byte, without compression and without any library, so that a test itself
/// decides what a picture holds and what is wrong with it.
class PNGBuilder {
  public:
    using Bytes = std::vector<std::uint8_t>;

    enum ColorType : std::uint8_t { Grey = 0, RGB = 2, Palette = 3, GreyAlpha = 4, RGBA = 6 };

    struct Header {
        std::uint32_t width;
        std::uint32_t height;
        int bitDepth = 8;
        ColorType colorType = RGBA;
        bool isInterlaced = false;
    };

    explicit PNGBuilder(const Header &header) : _header(header) {
        _file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
        Bytes content;
        appendNumber(content, header.width);
        appendNumber(content, header.height);
        const bool isInterlaced = header.isInterlaced;
        content.insert(content.end(),
                       {static_cast<std::uint8_t>(header.bitDepth),
                        static_cast<std::uint8_t>(header.colorType), 0, 0, isInterlaced});
        chunk("IHDR", content);
    }

    PNGBuilder &chunk(std::string_view type, std::span<const std::uint8_t> content) {
        appendNumber(_file, static_cast<std::uint32_t>(content.size()));
        const std::size_t start = _file.size();
        _file.insert(_file.end(), type.begin(), type.end());
        _file.insert(_file.end(), content.begin(), content.end());
        appendNumber(_file, checksum(std::span(_file).subspan(start)));
        return *this;
    }

    PNGBuilder &chunk(std::string_view type, std::initializer_list<std::uint8_t> content) {
        return chunk(type, std::span(content.begin(), content.size()));
    }

    /// The pixels; `sample(x, y, channel)` gives the stored value, at most 2^bitDepth - 1.
    template <class Sample> PNGBuilder &pixels(const Sample &sample) {
        struct Pass {
            std::uint32_t x, y, xStep, yStep;
        };
        constexpr std::array<Pass, 7> kPasses{{{0, 0, 8, 8},
                                               {4, 0, 8, 8},
                                               {0, 4, 4, 8},
                                               {2, 0, 4, 4},
                                               {0, 2, 2, 4},
                                               {1, 0, 2, 2},
                                               {0, 1, 1, 2}}};
        Bytes rows;
        if (!_header.isInterlaced) {
            appendRows(rows, sample, 0, 0, 1, 1);
        } else {
            for (const Pass &pass : kPasses) {
                appendRows(rows, sample, pass.x, pass.y, pass.xStep, pass.yStep);
            }
        }
        return chunk("IDAT", stored(rows));
    }

    /// The whole file, with its end chunk.
    Bytes finish() {
        chunk("IEND", std::initializer_list<std::uint8_t>{});
        return _file;
    }

    /// A zlib stream of stored blocks.
    static Bytes stored(std::span<const std::uint8_t> bytes) {
        Bytes stream{0x78, 0x01};
        std::span<const std::uint8_t> left = bytes;
        do {
            const std::size_t count = left.size() < 65535 ? left.size() : 65535;
            const bool isLast = count == left.size();
            const auto low = static_cast<std::uint8_t>(count);
            const auto high = static_cast<std::uint8_t>(count >> 8);
            stream.insert(stream.end(), {isLast, low, high, static_cast<std::uint8_t>(~low),
                                         static_cast<std::uint8_t>(~high)});
            stream.insert(stream.end(), left.begin(), left.begin() + static_cast<long>(count));
            left = left.subspan(count);
        } while (!left.empty());
        std::uint32_t a = 1, b = 0;
        for (const std::uint8_t byte : bytes) {
            a = (a + byte) % 65521;
            b = (b + a) % 65521;
        }
        appendNumber(stream, b << 16 | a);
        return stream;
    }

    static int channels(ColorType type) {
        switch (type) {
        case GreyAlpha:
            return 2;
        case RGB:
            return 3;
        case RGBA:
            return 4;
        default:
            return 1;
        }
    }

  private:
    static void appendNumber(Bytes &bytes, std::uint32_t number) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            bytes.push_back(static_cast<std::uint8_t>(number >> shift));
        }
    }

    static std::uint32_t checksum(std::span<const std::uint8_t> bytes) {
        std::uint32_t sum = ~0u;
        for (const std::uint8_t byte : bytes) {
            sum ^= byte;
            for (int bit = 0; bit < 8; ++bit) {
                sum = sum >> 1 ^ (sum & 1 ? 0xedb88320u : 0);
            }
        }
        return ~sum;
    }

    template <class Sample>
    void appendRows(Bytes &rows, const Sample &sample, std::uint32_t x, std::uint32_t y,
                    std::uint32_t xStep, std::uint32_t yStep) const {
        for (; x < _header.width && y < _header.height; y += yStep) {
            rows.push_back(0);
            appendRow(rows, sample, x, y, xStep);
        }
    }

    template <class Sample>
    void appendRow(Bytes &rows, const Sample &sample, std::uint32_t x, std::uint32_t y,
                   std::uint32_t xStep) const {
        std::uint32_t bits = 0;
        int count = 0;
        const auto flush = [&] {
            rows.push_back(static_cast<std::uint8_t>(bits));
            bits = 0;
            count = 0;
        };
        for (; x < _header.width; x += xStep) {
            for (int channel = 0; channel < channels(_header.colorType); ++channel) {
                const std::uint32_t value = sample(x, y, channel);
                if (_header.bitDepth == 16) {
                    rows.push_back(static_cast<std::uint8_t>(value >> 8));
                    rows.push_back(static_cast<std::uint8_t>(value));
                    continue;
                }
                bits = bits << _header.bitDepth | value;
                count += _header.bitDepth;
                if (count == 8) {
                    flush();
                }
            }
        }
        if (count > 0) {
            bits <<= 8 - count;
            flush();
        }
    }

    Header _header;
    Bytes _file;
};
