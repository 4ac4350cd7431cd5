#pragma once

#include <Lumivera/Wallpaper.h>

#include <cstdint>

/// Random numbers that are the same on every system for the same seed.
class Dice {
  public:
    explicit Dice(std::uint32_t seed) : _state(seed ^ 0x9E3779B9u) {
        if (_state == 0) {
            _state = 1;
        }
    }

    /// From 0 up to, but not including, 1.
    CGFloat unit() { return static_cast<CGFloat>(next() >> 8) / 16777216; }

    CGFloat between(CGFloat low, CGFloat high) { return low + (high - low) * unit(); }

    /// From `low` to `high`, both included.
    int whole(int low, int high) {
        return low + static_cast<int>(unit() * static_cast<CGFloat>(high - low + 1));
    }

  private:
    std::uint32_t next() {
        _state ^= _state << 13;
        _state ^= _state >> 17;
        _state ^= _state << 5;
        return _state;
    }

    std::uint32_t _state;
};
