#pragma once

#include <QQmlExtensionPlugin>

/// The QML module org.lumivera.plasma.
class PlasmaModule : public QQmlExtensionPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)

  public:
    void registerTypes(const char *module) override;
};
