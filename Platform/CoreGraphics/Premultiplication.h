#pragma once

#include <cstdint>

/// Pixels between the two ways of keeping colours beside their alpha. A premultiplied pixel, a word
/// 0xAARRGGBB whose colours are at most its alpha, survives the way out and back unchanged.

/// component × alpha / 255, rounded to the nearest; there are no ties.
constexpr std::uint32_t premultipliedComponent(std::uint32_t component, std::uint32_t alpha) {
    return (component * alpha + 127) / 255;
}

/// The premultiplied word of a colour with components from 0 to 255.
constexpr std::uint32_t premultipliedPixel(std::uint32_t red, std::uint32_t green,
                                           std::uint32_t blue, std::uint32_t alpha) {
    return alpha << 24 | premultipliedComponent(red, alpha) << 16 |
           premultipliedComponent(green, alpha) << 8 | premultipliedComponent(blue, alpha);
}

/// Premultiplied component × 255 / alpha, rounded to the nearest, at most 255; 0 for alpha 0.
constexpr std::uint32_t unpremultipliedComponent(std::uint32_t component, std::uint32_t alpha) {
    if (component >= alpha) {
        return alpha == 0 ? 0 : 255;
    }
    return (component * 255 + alpha / 2) / alpha;
}
