#pragma once

#include "Host/Displays/DesktopSurvey.h"

namespace Lumivera {

/// What the X server and the window manager of the session offer. A HostError when there is no
/// server that could show anything.
DesktopSurvey surveyX11();

} // namespace Lumivera
