#include "Platform/Compositor/OverlapClusters.h"

#include <numeric>

const std::vector<std::size_t> &OverlapClusters::find(const std::vector<DeviceRect> &rects) {
    _leaders.reserve(rects.capacity());
    _fromTop.reserve(rects.capacity());
    _leaders.resize(rects.size());
    std::iota(_leaders.begin(), _leaders.end(), 0);
    _fromTop = _leaders;
    std::sort(_fromTop.begin(), _fromTop.end(), [&](std::size_t first, std::size_t second) {
        return rects[first].top < rects[second].top;
    });
    for (auto upper = _fromTop.begin(); upper != _fromTop.end(); ++upper) {
        for (auto lower = upper + 1;
             lower != _fromTop.end() && rects[*lower].top < rects[*upper].bottom; ++lower) {
            if (rects[*upper].intersects(rects[*lower])) {
                join(*upper, *lower);
            }
        }
    }
    for (std::size_t i = 0; i < rects.size(); i++) {
        _leaders[i] = leaderOf(i);
    }
    return _leaders;
}

// Shortens the way to the leader as it goes.
std::size_t OverlapClusters::leaderOf(std::size_t index) {
    while (_leaders[index] != index) {
        _leaders[index] = _leaders[_leaders[index]];
        index = _leaders[index];
    }
    return index;
}

void OverlapClusters::join(std::size_t first, std::size_t second) {
    const std::size_t a = leaderOf(first);
    const std::size_t b = leaderOf(second);
    _leaders[std::max(a, b)] = std::min(a, b);
}
