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
    /// Makes new memory, and maps it. A HostError when there is none.
    SharedBuffers(unsigned width, unsigned height, unsigned count);

    /// Owns the descriptor of memory that another process has made, and maps it. A HostError when
    /// it is not of that size, or there is no room for it.
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

    /// The pixels of buffer `index`, below count().
    std::uint32_t *pixels(unsigned index) { return _mapped + bufferBytes() / 4 * index; }
    const std::uint32_t *pixels(unsigned index) const {
        return _mapped + bufferBytes() / 4 * index;
    }

  private:
    [[noreturn]] void fail(const char *what) const;
    void map();

    const unsigned _width;
    const unsigned _height;
    const unsigned _count;
    int _descriptor = -1;
    std::uint32_t *_mapped = nullptr;
};

} // namespace Lumivera
