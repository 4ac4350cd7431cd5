#pragma once

#include "Host/Displays/DesktopSurvey.h"

namespace Lumivera {

/// What the Wayland compositor of the session offers. A HostError when there is none.
DesktopSurvey surveyWayland();

} // namespace Lumivera
