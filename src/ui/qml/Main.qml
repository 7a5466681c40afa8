import QtQuick
import QtQuick.Controls

ApplicationWindow {
    id: window
    width: 1240
    height: 820
    visible: true
    title: "Kestrava"

    Label {
        anchors.centerIn: parent
        text: "Kestrava"
        font.pixelSize: 32
    }
}
