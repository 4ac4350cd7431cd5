#pragma once

#include <cstdint>

/// Integer arithmetic on weights, which are fractions of kFullWeight, and on the four channels of a
/// premultiplied pixel at once. A spread pixel holds one channel in each 16 bits of a word: blue,
/// red, green, alpha from the lowest.
namespace PixelArithmetic {

inline constexpr std::uint32_t kFullWeight = 65536;

/// The product of two weights, rounded to nearest.
inline std::uint32_t product(std::uint32_t weight, std::uint32_t other) {
    return static_cast<std::uint32_t>((std::uint64_t{weight} * other + kFullWeight / 2) /
                                      kFullWeight);
}

/// A weight times a fraction, such as a coverage, rounded to nearest.
inline std::uint32_t partOf(std::uint32_t weight, double fraction) {
    return static_cast<std::uint32_t>(weight * fraction + 0.5);
}

inline std::uint64_t spread(std::uint32_t pixel) {
    return (pixel | std::uint64_t{pixel} << 24) & 0x00FF00FF00FF00FFU;
}

inline std::uint32_t packed(std::uint64_t spreadPixel) {
    return static_cast<std::uint32_t>(spreadPixel | spreadPixel >> 24);
}

inline std::uint32_t alpha(std::uint64_t spreadPixel) {
    return static_cast<std::uint32_t>(spreadPixel >> 48);
}

/// Each channel times the weight, rounded to nearest.
inline std::uint64_t weighted(std::uint64_t pixel, std::uint32_t weight) {
    constexpr std::uint64_t kPair = 0x000000FF000000FFU;
    constexpr std::uint64_t kHalf = 0x0000800000008000U;
    const std::uint64_t low = (pixel & kPair) * weight + kHalf;
    const std::uint64_t high = (pixel >> 16 & kPair) * weight + kHalf;
    return (low >> 16 & kPair) | (high >> 16 & kPair) << 16;
}

/// `source` over `destination`, both spread: destination × (255 − source alpha) / 255 is rounded
/// to nearest.
inline std::uint64_t over(std::uint64_t source, std::uint64_t destination) {
    constexpr std::uint64_t kLow = 0x00FF00FF00FF00FFU;
    const std::uint64_t product = destination * (255 - alpha(source)) + 0x0080008000800080U;
    return source + ((product + (product >> 8 & kLow)) >> 8 & kLow);
}

/// Blends a spread pixel over one in memory.
inline void blend(std::uint64_t source, std::uint32_t &destination) {
    if (alpha(source) == 255) {
        destination = packed(source);
    } else if (source != 0) {
        destination = packed(over(source, spread(destination)));
    }
}

/// Interpolates between two rows of two texels. `x` is the weight of the right ones, of 256; the
/// sum of the rows' weights is the weight of the result. Rounds once.
inline std::uint64_t bilinear(const std::uint32_t (&texels)[4], std::uint32_t x,
                              std::uint32_t topWeight, std::uint32_t bottomWeight) {
    constexpr std::uint64_t kPair = 0x0000FFFF0000FFFFU;
    constexpr std::uint64_t kResult = 0x000000FF000000FFU;
    constexpr std::uint64_t kHalf = 0x0080000000800000U;
    const std::uint64_t top = spread(texels[0]) * (256 - x) + spread(texels[1]) * x;
    const std::uint64_t bottom = spread(texels[2]) * (256 - x) + spread(texels[3]) * x;
    const std::uint64_t low = (top & kPair) * topWeight + (bottom & kPair) * bottomWeight + kHalf;
    const std::uint64_t high =
        (top >> 16 & kPair) * topWeight + (bottom >> 16 & kPair) * bottomWeight + kHalf;
    return (low >> 24 & kResult) | (high >> 24 & kResult) << 16;
}

} // namespace PixelArithmetic
