#pragma once

#include <Lumivera/Wallpaper.h>

#include <functional>
#include <string>
#include <vector>

class Card;

/// What a card shows: a flower, a picture made of it, or an animation of it.
struct Exhibit {
    struct Step {
        /// Seconds since the round began.
        NSTimeInterval time;
        std::function<void(Card &card)> act;
    };

    /// The name of the caption's picture, without ".png".
    std::string caption;

    /// The name of the flower's picture, without ".png".
    std::string flower = "flower1";

    /// Seconds from one round to the next; divides kFilmSeconds. A round ends in the state in which
    /// it began.
    NSTimeInterval period = kFilmSeconds;

    /// The flower's resting place: the distance from the middle, in sides of the stage, and the
    /// rotation in degrees.
    double restX = 0;
    double restAngle = 0;

    /// Whether a tile under the flower shows how the plane is tilted.
    bool hasTile = false;

    std::vector<Step> steps = {};

    /// Makes the picture that is shown in place of the flower; none shows the flower itself.
    std::function<Retained<UIImage>(const Retained<UIImage> &flower)> picture = {};

    /// A film of this length repeats without a jump.
    static constexpr NSTimeInterval kFilmSeconds = 12;
};

/// The operations of LWUIAnimation.
const std::vector<Exhibit> &animationExhibits();

/// The operations of ImageSet and SpriteExtend, and what else is made of pictures.
const std::vector<Exhibit> &pictureExhibits();
