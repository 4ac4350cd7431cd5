#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

/// Builds the bytes of a WAV file, valid or not.
struct WaveFile {
    enum Encoding : std::uint16_t { PCM = 1, ADPCM = 2, Float = 3, ALaw = 6, MuLaw = 7, IMA = 17 };

    std::uint16_t encoding = PCM;
    std::uint16_t channels = 2;
    std::uint32_t framesPerSecond = 48'000;
    std::uint16_t bitsPerSample = 16;

    /// More bytes of the format chunk, behind the 16 that every one has.
    std::vector<std::uint8_t> moreFormat = {};
    std::vector<std::uint8_t> samples = {};

    /// Bytes of a frame; in ADPCM of a block.
    std::uint16_t blockSize = static_cast<std::uint16_t>(channels * bitsPerSample / 8);

    static WaveFile ofShorts(std::span<const std::int16_t> samples, std::uint16_t channels = 2,
                             std::uint32_t framesPerSecond = 48'000) {
        WaveFile file{.channels = channels, .framesPerSecond = framesPerSecond};
        for (const std::int16_t sample : samples) {
            append(file.samples, static_cast<std::uint16_t>(sample), 2);
        }
        return file;
    }

    static WaveFile ofFloats(std::span<const float> samples, std::uint16_t channels = 2,
                             std::uint32_t framesPerSecond = 48'000) {
        WaveFile file{.encoding = Float,
                      .channels = channels,
                      .framesPerSecond = framesPerSecond,
                      .bitsPerSample = 32};
        for (const float sample : samples) {
            append(file.samples, std::bit_cast<std::uint32_t>(sample), 4);
        }
        return file;
    }

    std::vector<std::uint8_t> format() const {
        std::vector<std::uint8_t> bytes;
        append(bytes, encoding, 2);
        append(bytes, channels, 2);
        append(bytes, framesPerSecond, 4);
        append(bytes, framesPerSecond * blockSize, 4);
        append(bytes, blockSize, 2);
        append(bytes, bitsPerSample, 2);
        bytes.insert(bytes.end(), moreFormat.begin(), moreFormat.end());
        return bytes;
    }

    std::vector<std::uint8_t> bytes() const {
        std::vector<std::uint8_t> content = chunk("fmt ", format());
        const std::vector<std::uint8_t> data = chunk("data", samples);
        content.insert(content.end(), data.begin(), data.end());
        return wrapped(content);
    }

    /// The chunks as a file.
    static std::vector<std::uint8_t> wrapped(std::span<const std::uint8_t> chunks) {
        std::vector<std::uint8_t> body = {'W', 'A', 'V', 'E'};
        body.insert(body.end(), chunks.begin(), chunks.end());
        return chunk("RIFF", body);
    }

    static std::vector<std::uint8_t> chunk(std::string_view name,
                                           std::span<const std::uint8_t> content) {
        std::vector<std::uint8_t> bytes(name.begin(), name.end());
        append(bytes, content.size(), 4);
        bytes.insert(bytes.end(), content.begin(), content.end());
        if (content.size() % 2 != 0) {
            bytes.push_back(0);
        }
        return bytes;
    }

    /// The low bytes of the value in little-endian order.
    static void append(std::vector<std::uint8_t> &bytes, std::uint64_t value, int count) {
        for (int i = 0; i < count; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
        }
    }
};
