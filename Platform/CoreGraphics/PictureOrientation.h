#pragma once

#include <cstdint>
#include <span>

/// How the rows that a file stores lie in the upright picture: first they are mirrored, then, where
/// they are columns, rows and columns change places.
struct PictureOrientation {
    bool mirrorsX = false; ///< Each row runs from right to left.
    bool mirrorsY = false; ///< The rows run from the bottom up.
    bool areColumns = false;

    bool isUpright() const noexcept { return !mirrorsX && !mirrorsY && !areColumns; }

    /// What Exif data say, with or without their name in front; upright where they say nothing that
    /// makes sense.
    static PictureOrientation inExif(std::span<const std::uint8_t> exif);
};
