#include "Platform/Compositor/PixelTables.h"

#define LUMIVERA_WORDS(even, odd)                                                                  \
    { even, odd, even, odd, even, odd, even, odd }
alignas(16) const std::int16_t PixelTables::kFullAlpha[8] = LUMIVERA_WORDS(255 * 128, 255 * 128);
alignas(16) const std::int16_t PixelTables::kToLevels[8] = LUMIVERA_WORDS(256, 256);
alignas(16) const std::int16_t PixelTables::kUpperRow[8] = LUMIVERA_WORDS(-1, 0);
#undef LUMIVERA_WORDS

alignas(16) const std::uint8_t PixelTables::kRowsOf[4][16] = {
    {0, 2, 0, 2, 0, 2, 0, 2, 0, 2, 0, 2, 0, 2, 0, 2},
    {4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6},
    {8, 10, 8, 10, 8, 10, 8, 10, 8, 10, 8, 10, 8, 10, 8, 10},
    {12, 14, 12, 14, 12, 14, 12, 14, 12, 14, 12, 14, 12, 14, 12, 14}};

alignas(16) const std::uint8_t PixelTables::kColumnsOf[4][16] = {
    {0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3},
    {4, 5, 4, 5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, 6, 7},
    {8, 9, 8, 9, 8, 9, 8, 9, 10, 11, 10, 11, 10, 11, 10, 11},
    {12, 13, 12, 13, 12, 13, 12, 13, 14, 15, 14, 15, 14, 15, 14, 15}};

alignas(16) const std::uint8_t PixelTables::kAlpha[16] = {6,  7,  6,  7,  6,  7,  6,  7,
                                                          14, 15, 14, 15, 14, 15, 14, 15};
