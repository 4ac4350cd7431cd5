#include "extensions/plasma/Viewer/HostSettings.h"
#include "extensions/plasma/Viewer/LivePicture.h"

#include <QQmlExtensionPlugin>
#include <qqml.h>

/// The QML module org.lumivera.plasma.
class PlasmaModule final : public QQmlExtensionPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)

  public:
    void registerTypes(const char *module) override {
        qmlRegisterType<Lumivera::LivePicture>(module, 1, 0, "LivePicture");
        qmlRegisterType<Lumivera::HostSettings>(module, 1, 0, "HostSettings");
    }
};

#include "PlasmaModule.moc"
