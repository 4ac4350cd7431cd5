#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <cstddef>
#include <vector>

namespace Lumivera {

/// What is left of a rectangle after others were taken away.
class RemainingArea {
  public:
    /// Pieces beyond which nothing is taken away any more, so that the work has an end.
    static constexpr std::size_t kMostPieces = 4096;

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
