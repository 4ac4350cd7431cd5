#include "Host/Displays/DesktopSurvey.h"

#include "Host/Displays/DesktopSystem.h"
#include "Host/Displays/Wayland/WaylandSurvey.h"
#include "Host/Displays/X11/X11Survey.h"
#include "Host/Support/HostError.h"

namespace Lumivera {

DesktopSurvey surveyDesktop() {
    DesktopSurvey survey;
    try {
        survey.system = systemOfSession();
        survey = survey.system == "wayland" ? surveyWayland() : surveyX11();
    } catch (const HostError &error) {
        survey.findings.push_back({"desktop", Finding::Level::Bad, error.what(), ""});
    }
    return survey;
}

} // namespace Lumivera
