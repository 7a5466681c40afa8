import QtQuick
import QtQuick.Layouts
import Kestrava

// A sentence the user must not miss, on a tinted strip; hidden while its text is empty. The
// text comes from the view model.
Rectangle {
    id: banner
    property string text
    property color tone: DesignSystem.maybe
    visible: text.length > 0
    implicitHeight: visible ? label.implicitHeight + 2 * DesignSystem.spacingS : 0
    radius: DesignSystem.radiusSmall
    color: Qt.rgba(tone.r, tone.g, tone.b, 0.14)
    border.color: Qt.rgba(tone.r, tone.g, tone.b, 0.6)
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
    Rectangle {
        width: 4
        radius: 2
        color: banner.tone
        anchors.left: parent.left
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        anchors.margins: 6
    }
    Body {
        id: label
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: DesignSystem.spacingM + 4
        anchors.rightMargin: DesignSystem.spacingM
        text: banner.text
        color: DesignSystem.textPrimary
        wrapMode: Text.WordWrap
    }
}
