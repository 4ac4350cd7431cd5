#pragma once

#include <algorithm>

/// A rectangle of whole pixels of the device, whose first pixel is at the top left. The right and
/// bottom lie outside of it. It is empty when a side is not positive.
struct DeviceRect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    friend bool operator==(const DeviceRect &, const DeviceRect &) = default;

    int width() const { return right - left; }
    int height() const { return bottom - top; }
    bool isEmpty() const { return right <= left || bottom <= top; }
    long long area() const { return isEmpty() ? 0 : 1LL * width() * height(); }

    DeviceRect intersection(const DeviceRect &other) const {
        return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
                std::min(bottom, other.bottom)};
    }

    bool intersects(const DeviceRect &other) const { return !intersection(other).isEmpty(); }

    bool contains(const DeviceRect &other) const {
        return left <= other.left && top <= other.top && right >= other.right &&
               bottom >= other.bottom;
    }

    /// The smallest rectangle around both; an empty one adds nothing.
    DeviceRect united(const DeviceRect &other) const {
        if (isEmpty() || other.isEmpty()) {
            return isEmpty() ? other : *this;
        }
        return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
                std::max(bottom, other.bottom)};
    }

    /// Whether holds(x, y) is true of the pixels in all four corners. Must not be empty.
    template <class Holds> bool everyCorner(const Holds &holds) const {
        return holds(left, top) && holds(right - 1, top) && holds(left, bottom - 1) &&
               holds(right - 1, bottom - 1);
    }
};
