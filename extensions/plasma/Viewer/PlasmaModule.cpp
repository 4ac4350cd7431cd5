#include "extensions/plasma/Viewer/PlasmaModule.h"

#include "extensions/plasma/Viewer/HostSettings.h"
#include "extensions/plasma/Viewer/LivePicture.h"

#include <qqml.h>

void PlasmaModule::registerTypes(const char *module) {
    qmlRegisterType<Lumivera::LivePicture>(module, 1, 0, "LivePicture");
    qmlRegisterType<Lumivera::HostSettings>(module, 1, 0, "HostSettings");
}
