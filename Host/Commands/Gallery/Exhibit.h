#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <functional>
#include <string>
#include <vector>

namespace Lumivera {

class ExhibitStage;

/// One way to move a flower: what it is called, and what is asked of the stage at what times. A
/// round ends where it began.
struct Exhibit {
    struct Step {
        /// Seconds since the round began.
        NSTimeInterval time;
        std::function<void(ExhibitStage &stage)> act;
    };

    std::u32string title;

    /// The first step's pass one way in seconds, how often, and whether it goes back again.
    std::u32string caption;

    /// Which of the wallpaper's flowers, from 0.
    NSUInteger flower = 0;

    /// Seconds from one round to the next. They all divide kFilmSeconds.
    NSTimeInterval period = 0;

    /// Seconds that show what it does: the first pass there and back.
    NSTimeInterval pass = 0;

    /// Where the flower rests: beside the middle, in sides of the stage, and by how much it is
    /// turned, in degrees.
    double restX = 0;
    double restAngle = 0;

    /// The flower lies on a tile, which shows how a plane is tilted.
    bool hasTile = false;

    std::vector<Step> steps;
};

/// Every operation of the view animations, in the order of the gallery.
const std::vector<Exhibit> &allExhibits();

/// After that long a film of them goes on as it began.
inline constexpr NSTimeInterval kFilmSeconds = 12;

} // namespace Lumivera
