#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// A place on the screen, in pixels from its top left corner.
struct ScreenPoint {
    int x = 0;
    int y = 0;
};

struct ScreenRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    ScreenPoint middle() const { return {x + width / 2, y + height / 2}; }
    int right() const { return x + width; }
    int bottom() const { return y + height; }
};

/// What a screen shows: words 0xFFRRGGBB, rows from the top.
class ScreenPicture {
  public:
    ScreenPicture() = default;
    ScreenPicture(int width, int height, std::vector<std::uint32_t> pixels)
        : _width(width), _height(height), _pixels(std::move(pixels)) {}

    /// Reads a PNG file; an empty picture when that fails.
    static ScreenPicture read(const std::string &path);

    /// Writes a PNG file.
    void write(const std::string &path) const;

    int width() const { return _width; }
    int height() const { return _height; }
    bool isEmpty() const { return _pixels.empty(); }

    /// 0 outside of the picture: the screen may have had another size when it was taken.
    std::uint32_t at(int x, int y) const {
        if (x < 0 || y < 0 || x >= _width || y >= _height) {
            return 0;
        }
        return _pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(_width) +
                       static_cast<std::size_t>(x)];
    }

    /// The part of the rectangle, from 0 to 1, that has this colour.
    double shareOf(std::uint32_t colour, const ScreenRect &area) const;

    /// What lies on an area of one colour: the bounds of everything that has another one. Things
    /// less than about 12 pixels apart count as one; what is smaller or larger than icons is left
    /// out.
    std::vector<ScreenRect> thingsOn(std::uint32_t colour, const ScreenRect &area) const;

    /// The part of the rectangle, from 0 to 1, in which another picture looks the same. Both have
    /// the same size.
    double sharedWith(const ScreenPicture &other, const ScreenRect &area) const;

    /// The part, from 0 to 1, of what this picture shows on an area of one colour that another
    /// picture shows as well, whatever that one has around it.
    double shareKept(const ScreenPicture &other, const ScreenRect &thing,
                     std::uint32_t colour) const;

  private:
    template <class Condition> double shareWhere(const ScreenRect &area, Condition holds) const;

    int _width = 0;
    int _height = 0;
    std::vector<std::uint32_t> _pixels;
};
