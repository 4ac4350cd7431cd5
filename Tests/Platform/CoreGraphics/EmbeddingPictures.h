#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/// Adds metadata to sample pictures that have none.

inline void appendText(std::vector<std::uint8_t> &bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

/// Inserts a segment behind the first marker of a JPEG file.
inline std::vector<std::uint8_t> withSegment(std::vector<std::uint8_t> jpeg, std::uint8_t kind,
                                             std::span<const std::uint8_t> content) {
    const std::size_t length = content.size() + 2;
    std::vector<std::uint8_t> segment{0xff, kind, static_cast<std::uint8_t>(length >> 8),
                                      static_cast<std::uint8_t>(length)};
    segment.insert(segment.end(), content.begin(), content.end());
    jpeg.insert(jpeg.begin() + 2, segment.begin(), segment.end());
    return jpeg;
}

/// One part of a profile as JPEG files store it.
inline std::vector<std::uint8_t> profilePart(std::span<const std::uint8_t> bytes, int number,
                                             int count) {
    std::vector<std::uint8_t> content;
    appendText(content, std::string_view("ICC_PROFILE\0", 12));
    content.push_back(static_cast<std::uint8_t>(number));
    content.push_back(static_cast<std::uint8_t>(count));
    content.insert(content.end(), bytes.begin(), bytes.end());
    return content;
}

struct WebPChunk {
    std::string_view name;
    std::vector<std::uint8_t> content;
};

inline void appendChunk(std::vector<std::uint8_t> &file, const WebPChunk &chunk) {
    appendText(file, chunk.name);
    for (int shift = 0; shift < 32; shift += 8) {
        file.push_back(static_cast<std::uint8_t>(chunk.content.size() >> shift));
    }
    file.insert(file.end(), chunk.content.begin(), chunk.content.end());
    file.resize((file.size() + 1) / 2 * 2);
}

/// Turns a WebP file of one chunk into the extended format, with other chunks before and behind its
/// picture.
inline std::vector<std::uint8_t> withChunks(const std::vector<std::uint8_t> &webp, unsigned width,
                                            unsigned height, const std::vector<WebPChunk> &before,
                                            const std::vector<WebPChunk> &behind) {
    constexpr std::uint8_t kProfileAlphaExif = 0x38;
    const auto low = [](unsigned side) { return static_cast<std::uint8_t>(side - 1); };
    std::vector<std::uint8_t> body;
    appendText(body, "WEBP");
    appendChunk(body, {"VP8X", {kProfileAlphaExif, 0, 0, 0, low(width), 0, 0, low(height), 0, 0}});
    for (const WebPChunk &chunk : before) {
        appendChunk(body, chunk);
    }
    body.insert(body.end(), webp.begin() + 12, webp.end());
    for (const WebPChunk &chunk : behind) {
        appendChunk(body, chunk);
    }
    std::vector<std::uint8_t> file;
    appendChunk(file, {"RIFF", body});
    return file;
}
