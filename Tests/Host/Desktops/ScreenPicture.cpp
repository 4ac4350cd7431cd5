#include "Tests/Host/Desktops/ScreenPicture.h"

#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Programs/ProgramRun.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

namespace {

constexpr int kTolerance = 24;

/// Below this, an icon's pixel is too much like the background to say anything.
constexpr int kContrast = 60;

/// Things are found on a grid of cells of this size.
constexpr int kCell = 12;
constexpr int kMinIconSide = 24;
constexpr int kMaxIconSide = 220;

int channel(std::uint32_t colour, int shift) { return static_cast<int>(colour >> shift & 0xFF); }

/// The largest difference of a channel.
int difference(std::uint32_t a, std::uint32_t b) {
    int largest = 0;
    for (const int shift : {0, 8, 16}) {
        largest = std::max(largest, std::abs(channel(a, shift) - channel(b, shift)));
    }
    return largest;
}

/// The cells of a grid that something lies in.
class Grid {
  public:
    Grid(int columns, int rows)
        : _columns(columns), _rows(rows),
          _cells(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)) {}

    void mark(int column, int row) { cell(column, row) = true; }

    /// Takes all marked cells that touch each other, beginning with one of them, and returns their
    /// bounds in cells.
    ScreenRect take(int column, int row) {
        ScreenRect bounds{column, row, 1, 1};
        std::vector<ScreenPoint> open{{column, row}};
        cell(column, row) = false;
        while (!open.empty()) {
            const ScreenPoint place = open.back();
            open.pop_back();
            extend(bounds, place);
            takeNeighbours(place, open);
        }
        return bounds;
    }

    bool isMarked(int column, int row) { return cell(column, row); }

  private:
    std::vector<bool>::reference cell(int column, int row) {
        return _cells[static_cast<std::size_t>(row) * static_cast<std::size_t>(_columns) +
                      static_cast<std::size_t>(column)];
    }

    static void extend(ScreenRect &bounds, const ScreenPoint &place) {
        const int right = std::max(bounds.right(), place.x + 1);
        const int bottom = std::max(bounds.bottom(), place.y + 1);
        bounds.x = std::min(bounds.x, place.x);
        bounds.y = std::min(bounds.y, place.y);
        bounds.width = right - bounds.x;
        bounds.height = bottom - bounds.y;
    }

    void takeNeighbours(const ScreenPoint &place, std::vector<ScreenPoint> &open) {
        for (int row = std::max(place.y - 1, 0); row <= std::min(place.y + 1, _rows - 1); ++row) {
            for (int column = std::max(place.x - 1, 0);
                 column <= std::min(place.x + 1, _columns - 1); ++column) {
                if (cell(column, row)) {
                    cell(column, row) = false;
                    open.push_back({column, row});
                }
            }
        }
    }

    int _columns;
    int _rows;
    std::vector<bool> _cells;
};

} // namespace

ScreenPicture ScreenPicture::read(const std::string &path) {
    const std::string bytes = contentsOf(path);
    const auto image =
        CGImageCreateWithData({reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
    if (!image) {
        return {};
    }
    const std::size_t count = image->width() * image->height();
    return {static_cast<int>(image->width()), static_cast<int>(image->height()),
            std::vector<std::uint32_t>(image->pixels(), image->pixels() + count)};
}

void ScreenPicture::write(const std::string &path) const {
    const auto bytes =
        encodePNG(_pixels.data(), static_cast<NSUInteger>(_width), static_cast<NSUInteger>(_height),
                  static_cast<NSUInteger>(_width), 1);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char *>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

template <class Condition>
double ScreenPicture::shareWhere(const ScreenRect &area, Condition holds) const {
    long count = 0;
    for (int y = area.y; y < area.bottom(); ++y) {
        for (int x = area.x; x < area.right(); ++x) {
            count += holds(x, y) ? 1 : 0;
        }
    }
    return static_cast<double>(count) / std::max(area.width * area.height, 1);
}

double ScreenPicture::shareOf(std::uint32_t colour, const ScreenRect &area) const {
    return shareWhere(area,
                      [&](int x, int y) { return difference(at(x, y), colour) <= kTolerance; });
}

std::vector<ScreenRect> ScreenPicture::thingsOn(std::uint32_t colour,
                                                const ScreenRect &area) const {
    const int columns = area.width / kCell;
    const int rows = area.height / kCell;
    Grid grid(columns, rows);
    for (int y = 0; y < rows * kCell; ++y) {
        for (int x = 0; x < columns * kCell; ++x) {
            if (difference(at(area.x + x, area.y + y), colour) > kContrast) {
                grid.mark(x / kCell, y / kCell);
            }
        }
    }
    std::vector<ScreenRect> found;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const ScreenRect cells =
                grid.isMarked(column, row) ? grid.take(column, row) : ScreenRect();
            const auto [small, large] = std::minmax({cells.width * kCell, cells.height * kCell});
            if (small >= kMinIconSide && large <= kMaxIconSide) {
                found.push_back({area.x + cells.x * kCell, area.y + cells.y * kCell,
                                 cells.width * kCell, cells.height * kCell});
            }
        }
    }
    return found;
}

double ScreenPicture::sharedWith(const ScreenPicture &other, const ScreenRect &area) const {
    return shareWhere(
        area, [&](int x, int y) { return difference(at(x, y), other.at(x, y)) <= kTolerance; });
}

double ScreenPicture::shareKept(const ScreenPicture &other, const ScreenRect &thing,
                                std::uint32_t colour) const {
    const auto isThing = [&](int x, int y) { return difference(at(x, y), colour) > kContrast; };
    const double all = shareWhere(thing, isThing);
    const double kept = shareWhere(thing, [&](int x, int y) {
        return isThing(x, y) && difference(at(x, y), other.at(x, y)) <= kTolerance;
    });
    return all > 0 ? kept / all : 0;
}
