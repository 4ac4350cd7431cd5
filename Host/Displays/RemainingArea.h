#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <cstddef>
#include <vector>

namespace Lumivera {

/// Adds the parts of a piece above, below, left and right of a hole in it.
void addAround(std::vector<DeviceRect> &pieces, const DeviceRect &piece, const DeviceRect &hole);

/// The piece with all its edges moved outwards.
DeviceRect widened(const DeviceRect &piece, int by);

/// What is left of a rectangle when others are taken away.
class RemainingArea {
  public:
    /// From this number of pieces on nothing more is taken away, which limits the work.
    static constexpr std::size_t kMaxPieces = 4096;

    explicit RemainingArea(const DeviceRect &whole);

    void remove(const DeviceRect &rect);
    bool isEmpty() const { return _pieces.empty(); }

    /// In pixels.
    long long area() const;

  private:
    std::vector<DeviceRect> _pieces;
    std::vector<DeviceRect> _next;
};

} // namespace Lumivera
