import QtQuick 2.15
import QtQuick.Window 2.15
import org.kde.plasma.core 2.0 as PlasmaCore
import org.lumivera.plasma 1.0 as Lumivera

Rectangle {
    id: root

    color: "#20262e"

    Lumivera.LivePicture {
        id: picture

        anchors.fill: parent
        output: Screen.name
        // Plasma takes it from the fonts' resolution, which is seldom exactly a quarter's multiple.
        pointScale: Math.max(1, Math.round(PlasmaCore.Units.devicePixelRatio * 4) / 4)
        cover: windows.cover
        onShown: root.sendSettings()
        onSettingsForgotten: {
            root.sent = {};
            root.sendSettings();
        }
    }

    WindowCover {
        id: windows

        screenGeometry: Qt.rect(Screen.virtualX, Screen.virtualY, Screen.width, Screen.height)
    }

    Lumivera.HostSettings {
        id: host
    }

    Text {
        anchors.centerIn: parent
        visible: patience.isOver && !picture.hasPicture
        color: "white"
        horizontalAlignment: Text.AlignHCenter
        textFormat: Text.PlainText
        text: i18n("Lumivera is not running.\nStart it with: lumivera desktop")
    }

    Timer {
        id: patience

        property bool isOver: false

        interval: 10000
        running: true
        onTriggered: isOver = true
    }

    // Each value with what stands for "not set": those are sent only when they change.
    readonly property var settings: [
        {key: "wallpaper", value: wallpaper.configuration.Wallpaper, unset: ""},
        {key: "petals", value: wallpaper.configuration.Petals, unset: -1},
        {key: "speed", value: wallpaper.configuration.Speed, unset: -1},
        {key: "tint", value: wallpaper.configuration.Tint, unset: ""}
    ]
    property var sent: ({})

    onSettingsChanged: {
        if (picture.isConnected) {
            sendSettings();
        }
    }

    Connections {
        target: picture
        function onIsConnectedChanged() {
            root.sent = {}; // a new host knows nothing
        }
    }

    function sendSettings() {
        for (const setting of settings) {
            const before = sent[setting.key] === undefined ? setting.unset : sent[setting.key];
            if (setting.value !== before) {
                const isUnset = setting.value === setting.unset;
                host.set(picture.output, setting.key, isUnset ? "default" : String(setting.value));
                sent[setting.key] = setting.value;
            }
        }
    }
}
