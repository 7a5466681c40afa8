import QtQuick
import QtQuick.Controls
import Kestrava

// A radio button drawn for the dark surfaces: an empty ring when unselected, the ring filled
// with the accent and a dark centre when selected.
RadioButton {
    id: control
    indicator: Rectangle {
        x: control.leftPadding
        y: control.topPadding + (control.availableHeight - height) / 2
        implicitWidth: 20
        implicitHeight: 20
        radius: width / 2
        color: control.checked ? DesignSystem.accent : "transparent"
        border.width: control.visualFocus ? 2 : 1.5
        border.color: control.checked || control.visualFocus ? DesignSystem.accent : DesignSystem.textSecondary
        Rectangle {
            anchors.centerIn: parent
            width: 8
            height: 8
            radius: 4
            color: DesignSystem.textOnAccent
            visible: control.checked
        }
    }
    contentItem: Body {
        leftPadding: control.indicator.width + control.spacing
        text: control.text
        color: DesignSystem.textPrimary
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.WordWrap
    }
}
