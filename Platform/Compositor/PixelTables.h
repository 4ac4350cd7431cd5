#pragma once

#include <cstdint>

/// Constants of the loops over pixels, for every 16 bytes of a vector. They lie in a file of their
/// own, so that a compiler does not see their values: it would build them anew in every turn of a
/// loop, which costs more than a load.
struct PixelTables {
    alignas(16) static const std::int16_t kFullAlpha[8];
    alignas(16) static const std::int16_t kToLevels[8];

    /// Added to the 7 bits of fractions, for the rows of texels: -1 and 0 in turn.
    alignas(16) static const std::int16_t kUpperRow[8];

    /// Where to pick bytes from for the four pixels of a block. Bytes 0 and 2 of a lane, for all
    /// pairs of texels.
    alignas(16) static const std::uint8_t kRowsOf[4][16];

    /// A lane's low half for the left column, its high half for the right one.
    alignas(16) static const std::uint8_t kColumnsOf[4][16];

    /// The alphas of two pixels with 16 bits a channel, for all their channels.
    alignas(16) static const std::uint8_t kAlpha[16];
};
