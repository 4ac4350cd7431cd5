#pragma once

#include <cstddef>
#include <cstdint>

namespace Lumivera {

/// Pixels that processes share: `count` pictures of the same size behind one another in memory that
/// a file descriptor stands for, and whose size nobody can change any more. A pixel is a 32-bit
/// word 0xFFRRGGBB; rows follow one another without gaps. Pages that nobody has drawn into cost
/// nothing.
class SharedPicture {
  public:
    /// Makes new memory. A HostError when there is none.
    SharedPicture(unsigned width, unsigned height, unsigned count);

    /// Takes over memory that another process has made. A HostError when it is not of that size.
    SharedPicture(int descriptor, unsigned width, unsigned height, unsigned count);
    ~SharedPicture();

    SharedPicture(const SharedPicture &) = delete;
    SharedPicture &operator=(const SharedPicture &) = delete;

    unsigned width() const { return _width; }
    unsigned height() const { return _height; }
    unsigned count() const { return _count; }

    /// Stays the object's.
    int descriptor() const { return _descriptor; }

    /// From one row to the next, and from one picture to the next, in bytes.
    std::size_t rowBytes() const { return std::size_t{4} * _width; }
    std::size_t pictureBytes() const { return rowBytes() * _height; }
    std::size_t bytes() const { return pictureBytes() * _count; }

    /// The pixels of a picture below count(). Mapped when first asked for; a HostError when that
    /// fails.
    std::uint32_t *pixels(unsigned index);

  private:
    const unsigned _width;
    const unsigned _height;
    const unsigned _count;
    int _descriptor = -1;
    void *_mapped = nullptr;
};

} // namespace Lumivera
