#pragma once

#include <cstdint>
#include <span>
#include <vector>

/// What a JPEG file says about its picture before the picture itself.
struct JPEGSegments {
    /// In pixels; 0 when the file has no frame.
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    /// 1 of greys, 3 of colours, 4 of inks.
    std::uint8_t components = 0;

    /// Adobe's programs write inks the other way round, and mark the files that they write.
    bool hasAdobeMark = false;

    /// Of the file; empty when there are none.
    std::span<const std::uint8_t> exif;

    /// Put together from its parts; empty when there is none, when a part is missing, or when it is
    /// larger than ColorConversion takes.
    std::vector<std::uint8_t> profile;

    static JPEGSegments of(std::span<const std::uint8_t> file);
};
