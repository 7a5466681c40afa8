import QtQuick
import QtQuick.Layouts
import Kestrava

// "1  Welche Ansicht passt zu deinem Workflow?"
RowLayout {
    id: header
    property int number: 1
    property string title
    spacing: DesignSystem.spacingM
    Rectangle {
        width: 28; height: 28; radius: 14
        color: DesignSystem.cardRaised
        border.color: DesignSystem.border
        Body {
            anchors.centerIn: parent
            text: header.number
            color: DesignSystem.textPrimary
            font.weight: Font.DemiBold
        }
    }
    Text {
        Layout.fillWidth: true
        text: header.title
        color: DesignSystem.textPrimary
        font.pixelSize: DesignSystem.fontHeading + 2
        font.weight: Font.DemiBold
        wrapMode: Text.WordWrap
    }
}
