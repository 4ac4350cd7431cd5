#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <functional>
#include <string>
#include <vector>

namespace Lumivera {

class ExhibitStage;

/// A demonstration of one view animation: its label and the steps of a round. A round ends in the
/// state in which it began.
struct Exhibit {
    struct Step {
        /// Seconds since the round began.
        NSTimeInterval time;
        std::function<void(ExhibitStage &stage)> act;
    };

    std::u32string title;

    /// The duration, repeat count and autoreverse of the first step, as text.
    std::u32string caption;

    /// The index of the flower in the wallpaper.
    NSUInteger flower = 0;

    /// Seconds from one round to the next; divides kFilmSeconds.
    NSTimeInterval period = 0;

    /// Seconds of the first pass there and back, which the sheet of moments shows.
    NSTimeInterval pass = 0;

    /// The flower's resting place: the distance from the middle, in sides of the stage, and the
    /// rotation in degrees.
    double restX = 0;
    double restAngle = 0;

    /// Whether a tile under the flower shows how the plane is tilted.
    bool hasTile = false;

    std::vector<Step> steps;
};

/// Every operation of the view animations, in the order of the gallery.
const std::vector<Exhibit> &allExhibits();

/// A film of this length repeats without a jump.
inline constexpr NSTimeInterval kFilmSeconds = 12;

} // namespace Lumivera
