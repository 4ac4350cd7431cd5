#include "Host/Displays/X11/X11Survey.h"

#include "Host/Displays/X11/X11Connection.h"
#include "Host/Displays/X11/X11Density.h"
#include "Host/Displays/X11/X11Outputs.h"
#include "Host/Support/DescriptorWaiter.h"

namespace Lumivera {

namespace {

using Level = Finding::Level;

/// For a connection that is only asked.
class Silence final : public X11Listener {
  private:
    void eventArrived(const X11Event &) override {}
    void eventsEnded() override {}
    void connectionLost(const std::string &) override {}
};

Finding either(bool isThere, const std::string &subject, const std::string &good,
               const std::string &lacking, const std::string &remedy) {
    return isThere ? Finding{subject, Level::Good, good, ""}
                   : Finding{subject, Level::Lacking, lacking, remedy};
}

bool hasWindowManager(X11Connection &connection) {
    const unsigned question = connection.askForProperty(
        connection.root(), connection.atom(X11Atom::NetSupportingWMCheck));
    return connection.propertyWords(question).has_value();
}

} // namespace

DesktopSurvey surveyX11() {
    DescriptorWaiter waiter;
    Silence silence;
    X11Connection connection(waiter, silence);
    DesktopSurvey survey;
    survey.system = "X11";
    survey.findings = {
        {"X server", Level::Good, "can show the wallpaper behind the windows", ""},
        either(connection.takesSharedMemory(), "shared memory",
               "pictures reach the server without being copied",
               "pictures are copied to the server, which costs more of the processor",
               "use a server on this machine with MIT-SHM 1.2 or newer"),
        either(connection.hasMonitors(), "RandR", "every monitor has its own wallpaper",
               "all monitors are one", "use a server with RandR 1.5 or newer"),
        either(connection.hasShapes(), "shapes", "--click-through works",
               "--click-through does nothing", "use a server with the SHAPE extension"),
        either(connection.hasScreenSaver(), "screen saver",
               "the wallpaper rests while the screen is blank or switched off",
               "the wallpaper goes on while the screen is blank or switched off",
               "use a server with the MIT-SCREEN-SAVER extension"),
        either(hasWindowManager(connection), "window manager",
               "tells which windows cover the wallpaper",
               "there is none that tells which windows cover the wallpaper; they are looked for",
               "use one that keeps to the common hints, as most do"),
    };
    const CGFloat density = readX11Density(connection).value_or(1);
    for (const X11Output &output : withoutMirrors(readX11Outputs(connection))) {
        survey.outputs.push_back({output.name, static_cast<unsigned>(output.area.width()),
                                  static_cast<unsigned>(output.area.height()), density});
    }
    return survey;
}

} // namespace Lumivera
