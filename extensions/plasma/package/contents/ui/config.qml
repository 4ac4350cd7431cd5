import QtQuick 2.15
import QtQuick.Controls 2.15 as Controls
import QtQuick.Layouts 1.15
import org.kde.kirigami 2.12 as Kirigami
import org.kde.kquickcontrols 2.0 as KQuickControls
import org.lumivera.plasma 1.0 as Lumivera

ColumnLayout {
    id: root

    property string cfg_Wallpaper
    property int cfg_Petals: -1
    property int cfg_Speed: -1
    property string cfg_Tint

    property alias formLayout: form

    readonly property int usualPetals: 30
    readonly property int usualSpeed: 3

    Lumivera.HostSettings {
        id: host

        Component.onCompleted: listBundles()
    }

    Kirigami.FormLayout {
        id: form

        twinFormLayouts: parentLayout

        RowLayout {
            Kirigami.FormData.label: i18n("Petals:")

            Controls.CheckBox {
                id: ownPetals

                text: i18n("as the wallpaper has them")
                checked: root.cfg_Petals < 0
                onToggled: root.cfg_Petals = checked ? -1 : petals.value
            }

            Controls.SpinBox {
                id: petals

                enabled: !ownPetals.checked
                from: 0
                to: 1000
                value: root.cfg_Petals < 0 ? root.usualPetals : root.cfg_Petals
                onValueModified: root.cfg_Petals = value
            }
        }

        RowLayout {
            Kirigami.FormData.label: i18n("Speed:")

            Controls.CheckBox {
                id: ownSpeed

                text: i18n("as the wallpaper has it")
                checked: root.cfg_Speed < 0
                onToggled: root.cfg_Speed = checked ? -1 : speed.value
            }

            Controls.SpinBox {
                id: speed

                enabled: !ownSpeed.checked
                from: 0
                to: 10
                value: root.cfg_Speed < 0 ? root.usualSpeed : root.cfg_Speed
                onValueModified: root.cfg_Speed = value
            }
        }

        RowLayout {
            Kirigami.FormData.label: i18n("Tint:")

            Controls.CheckBox {
                id: hasTint

                text: i18n("shade the background")
                checked: root.cfg_Tint !== ""
                onToggled: root.cfg_Tint = checked ? host.tintOf(tint.color) : ""
            }

            KQuickControls.ColorButton {
                id: tint

                enabled: hasTint.checked
                showAlphaChannel: true
                color: host.colorOf(root.cfg_Tint)
                onAccepted: root.cfg_Tint = host.tintOf(color)
            }
        }
    }

    Controls.Label {
        Layout.fillWidth: true
        Layout.margins: Kirigami.Units.largeSpacing
        visible: host.problem !== ""
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
        text: host.problem
    }

    Controls.ScrollView {
        Layout.fillWidth: true
        Layout.fillHeight: true

        GridView {
            id: bundles

            model: host.bundles
            cellWidth: Kirigami.Units.gridUnit * 10
            cellHeight: Kirigami.Units.gridUnit * 8
            clip: true

            delegate: Controls.ItemDelegate {
                width: bundles.cellWidth
                height: bundles.cellHeight
                highlighted: root.cfg_Wallpaper === modelData.path
                onClicked: root.cfg_Wallpaper = modelData.path
                Accessible.name: modelData.name

                contentItem: ColumnLayout {
                    Image {
                        Layout.fillWidth: true
                        Layout.fillHeight: true
                        asynchronous: true
                        fillMode: Image.PreserveAspectCrop
                        sourceSize.width: bundles.cellWidth
                        source: modelData.picture
                    }

                    Controls.Label {
                        Layout.alignment: Qt.AlignHCenter
                        textFormat: Text.PlainText // a bundle's own words
                        text: modelData.name
                    }
                }
            }
        }
    }
}
