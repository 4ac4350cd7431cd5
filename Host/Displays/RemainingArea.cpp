#include "Host/Displays/RemainingArea.h"

#include <numeric>

namespace Lumivera {

namespace {

void addIfAny(std::vector<DeviceRect> &pieces, const DeviceRect &piece) {
    if (!piece.isEmpty()) {
        pieces.push_back(piece);
    }
}

} // namespace

void addAround(std::vector<DeviceRect> &pieces, const DeviceRect &piece, const DeviceRect &hole) {
    addIfAny(pieces, {piece.left, piece.top, piece.right, hole.top});
    addIfAny(pieces, {piece.left, hole.bottom, piece.right, piece.bottom});
    addIfAny(pieces, {piece.left, hole.top, hole.left, hole.bottom});
    addIfAny(pieces, {hole.right, hole.top, piece.right, hole.bottom});
}

DeviceRect widened(const DeviceRect &rect, int by) {
    return {rect.left - by, rect.top - by, rect.right + by, rect.bottom + by};
}

RemainingArea::RemainingArea(const DeviceRect &whole) { addIfAny(_pieces, whole); }

void RemainingArea::remove(const DeviceRect &rect) {
    if (_pieces.size() > kMaxPieces) {
        return;
    }
    _next.clear();
    for (const DeviceRect &piece : _pieces) {
        const DeviceRect hole = piece.intersection(rect);
        if (hole.isEmpty()) {
            _next.push_back(piece);
        } else {
            addAround(_next, piece, hole);
        }
    }
    _pieces.swap(_next);
}

long long RemainingArea::area() const {
    return std::accumulate(
        _pieces.begin(), _pieces.end(), 0LL,
        [](long long sum, const DeviceRect &piece) { return sum + piece.area(); });
}

} // namespace Lumivera
