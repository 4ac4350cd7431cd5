#pragma once

#include "Host/Support/OutputFolder.h"
#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/Foundation/NSTypes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// What a bundle of pictures alone is made of.
struct BundleRecipe {
    /// The picture file for the background.
    std::string background;

    /// One bundle, or picture files; those of the shipped bundle when it is empty.
    std::vector<std::string> petals;

    /// For people, in UTF-8 without control characters. Empty ones are left out.
    std::string name;
    std::string author;
    std::string summary;
    std::string license;

    std::int32_t petalCount = 80;
    std::int32_t speed = 1;

    /// Shades the background.
    std::optional<CGColor> tint;

    /// Of the background, in pixels. A picture that is not so wide is not made larger.
    NSUInteger width = kWidth;
    static constexpr NSUInteger kWidth = 3840;
    static constexpr NSUInteger kMaxWidth = 7680;

    static constexpr std::int32_t kMaxPetals = 300;
};

/// Makes bundles: the background upright and of a size that screens need, petals, a description,
/// and thumbnails that show the wallpaper. Main thread.
class BundleMaker {
  public:
    /// Makes the bundle, which appears whole or not at all. Uses the main run loop, which must have
    /// no waiter. Throws HostErrors.
    static void make(const BundleRecipe &recipe, OutputFolder &folder);
};

} // namespace Lumivera
