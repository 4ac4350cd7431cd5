#pragma once

#include "Host/Displays/Desktop.h"

#include <string>
#include <vector>

namespace Lumivera {

/// What works on this machine, what does not, and what would help.
struct Examination {
    struct Section {
        std::string title;
        std::vector<Finding> findings;
    };

    std::vector<Section> sections;
    std::vector<DesktopSurvey::Output> outputs;

    /// Looks at everything; takes up to a second. Main thread.
    static Examination make();

    /// True when wallpapers can be shown behind the icons here.
    bool isDesktopUsable() const;

    /// For people, with a line a finding.
    std::string text() const;

    /// For programs.
    std::string json() const;
};

} // namespace Lumivera
