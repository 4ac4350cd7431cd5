#pragma once

#include <cstdint>

/// Coordinates in points: double precision on 64-bit targets, single precision on 32-bit ones.
#if INTPTR_MAX == INT64_MAX
using CGFloat = double;
#else
using CGFloat = float;
#endif

struct CGPoint {
    CGFloat x = 0;
    CGFloat y = 0;
    friend bool operator==(const CGPoint &, const CGPoint &) = default;
};

struct CGSize {
    CGFloat width = 0;
    CGFloat height = 0;
    friend bool operator==(const CGSize &, const CGSize &) = default;
};

/// `origin` is the corner with the smallest x and y; y grows downward.
struct CGRect {
    CGPoint origin;
    CGSize size;
    friend bool operator==(const CGRect &, const CGRect &) = default;
};

constexpr CGPoint CGPointMake(CGFloat x, CGFloat y) { return {x, y}; }

constexpr CGSize CGSizeMake(CGFloat width, CGFloat height) { return {width, height}; }

constexpr CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
    return {{x, y}, {width, height}};
}

constexpr CGFloat CGRectGetMidX(const CGRect &rect) { return rect.origin.x + rect.size.width / 2; }

constexpr CGFloat CGRectGetMidY(const CGRect &rect) { return rect.origin.y + rect.size.height / 2; }

/// The left and top edges belong to the rectangle, the right and bottom edges do not; an empty
/// rectangle, the null rectangle (infinite origin) included, contains nothing.
constexpr bool CGRectContainsPoint(const CGRect &rect, CGPoint point) {
    return point.x >= rect.origin.x && point.x < rect.origin.x + rect.size.width &&
           point.y >= rect.origin.y && point.y < rect.origin.y + rect.size.height;
}
