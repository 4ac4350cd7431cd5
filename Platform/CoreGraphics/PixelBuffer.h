#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <vector>

/// Allocates memory that begins at a cache line, as a display's buffers do: copying pixels by whole
/// lines then touches no line twice. New elements are not cleared: give a value unless all of them
/// are written.
template <class Element> struct CacheLineAllocator {
    using value_type = Element;
    static constexpr std::align_val_t kLine{64};

    CacheLineAllocator() = default;
    template <class Other> CacheLineAllocator(const CacheLineAllocator<Other> &) noexcept {}

    Element *allocate(std::size_t count) {
        if (count > PTRDIFF_MAX / sizeof(Element)) {
            throw std::bad_array_new_length();
        }
        return static_cast<Element *>(::operator new(count * sizeof(Element), kLine));
    }
    void deallocate(Element *elements, std::size_t) noexcept { ::operator delete(elements, kLine); }
    template <class Other> void construct(Other *place) noexcept { ::new (place) Other; }
    template <class Other, class... Values> void construct(Other *place, Values &&...values) {
        ::new (place) Other(static_cast<Values &&>(values)...);
    }
    friend bool operator==(const CacheLineAllocator &, const CacheLineAllocator &) = default;
};

/// Pixels of a bitmap: rows from the top, one 32-bit word each.
using PixelBuffer = std::vector<std::uint32_t, CacheLineAllocator<std::uint32_t>>;

/// True when the alpha of every word 0xAARRGGBB is 255.
bool areOpaque(std::span<const std::uint32_t> pixels);

// Conversion between premultiplied and plain colours. A premultiplied pixel, a word 0xAARRGGBB
// whose colours are at most its alpha, survives the way to plain colours and back unchanged.

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
