import QtQuick
import Kestrava

// A small preview of the group; a neutral tile when none can be made.
Rectangle {
    property string source
    readonly property bool failed: image.status === Image.Error
    color: DesignSystem.stage
    radius: 6
    clip: true
    Image {
        id: image
        anchors.fill: parent
        asynchronous: true
        cache: true
        fillMode: Image.PreserveAspectCrop
        sourceSize: Qt.size(192, 192)
        source: parent.source
        opacity: status === Image.Ready ? 1 : 0
        Behavior on opacity { enabled: !Shell.reducedMotion; NumberAnimation { duration: 120 } }
    }
    Text {
        anchors.centerIn: parent
        visible: parent.failed
        text: "–"
        color: DesignSystem.textMuted
    }
}
