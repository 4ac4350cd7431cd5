#pragma once

#include <cstddef>
#include <cstdint>

namespace Lumivera {

/// Memory that processes share through a file descriptor: `count` buffers of the same size, one
/// after another. It is sealed, so that nobody can change its size. A pixel is a 32-bit word
/// 0xFFRRGGBB, or, for a transparent surface, a premultiplied 0xAARRGGBB; rows follow one another
/// without gaps. New memory is 0, and pages that nobody has drawn into cost nothing.
class SharedBuffers {
  public:
    /// Makes new memory. A HostError when there is none.
    SharedBuffers(unsigned width, unsigned height, unsigned count);

    /// Owns the descriptor of memory that another process has made. A HostError when it is not of
    /// that size.
    SharedBuffers(int descriptor, unsigned width, unsigned height, unsigned count);
    ~SharedBuffers();

    SharedBuffers(const SharedBuffers &) = delete;
    SharedBuffers &operator=(const SharedBuffers &) = delete;

    unsigned width() const { return _width; }
    unsigned height() const { return _height; }
    unsigned count() const { return _count; }

    /// Owned by the object.
    int descriptor() const { return _descriptor; }

    /// The distance from one row, or one buffer, to the next, in bytes.
    std::size_t rowBytes() const { return std::size_t{4} * _width; }
    std::size_t bufferBytes() const { return rowBytes() * _height; }
    std::size_t bytes() const { return bufferBytes() * _count; }

    /// The pixels of buffer `index`, below count(). Maps the memory at the first call; a HostError
    /// when that fails.
    std::uint32_t *pixels(unsigned index) { return map() + bufferBytes() / 4 * index; }
    const std::uint32_t *pixels(unsigned index) const { return map() + bufferBytes() / 4 * index; }

  private:
    std::uint32_t *map() const;

    const unsigned _width;
    const unsigned _height;
    const unsigned _count;
    int _descriptor = -1;
    mutable void *_mapped = nullptr;
};

} // namespace Lumivera
