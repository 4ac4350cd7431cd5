#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"

#include <string>
#include <vector>

namespace Lumivera {

/// The state of one thing on this machine, for whoever looks after it.
struct Finding {
    enum class Level {
        Good,
        Lacking, ///< wallpapers work without it, but not as well
        Bad,     ///< it does not work
    };

    std::string subject;
    Level level = Level::Good;
    std::string words;

    /// What would improve it; empty when there is nothing to do.
    std::string remedy;
};

/// What a window system offers to wallpapers. Looking changes nothing on the screen.
struct DesktopSurvey {
    struct Output {
        std::string name;
        unsigned width = 0; ///< in pixels
        unsigned height = 0;
        CGFloat density = 1; ///< pixels a point
    };

    std::string system;
    std::vector<Finding> findings;
    std::vector<Output> outputs;
};

/// Of the session that the environment names; without any, a survey with one bad finding.
DesktopSurvey surveyDesktop();

} // namespace Lumivera
