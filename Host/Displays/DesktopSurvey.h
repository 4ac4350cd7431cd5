#pragma once

#include "Host/Support/HostError.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <string>
#include <vector>

namespace Lumivera {

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
