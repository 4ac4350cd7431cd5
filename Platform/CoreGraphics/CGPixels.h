#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

/// Memory that begins where a line of the processor's cache does, as a display's does: pixels that
/// are copied by whole lines then meet no line twice. New elements without a value are not
/// cleared; give one where they are not written anyway.
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
using CGPixels = std::vector<std::uint32_t, CacheLineAllocator<std::uint32_t>>;
