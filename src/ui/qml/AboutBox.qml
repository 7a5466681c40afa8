import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Name, version and what Kestrava is for.
Dialog {
    id: dialog
    objectName: "aboutBox"
    modal: true
    onOpened: Shell.overlayOpened()
    onClosed: Shell.overlayClosed()
    anchors.centerIn: Overlay.overlay
    width: Math.min(460, parent ? parent.width - 80 : 460)
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside
    padding: DesignSystem.spacingL
    background: Rectangle {
        radius: DesignSystem.radius
        color: DesignSystem.cardRaised
        border.color: DesignSystem.border
    }
    contentItem: ColumnLayout {
        spacing: DesignSystem.spacingM
        Text {
            objectName: "aboutTitle"
            text: Help.aboutTitle
            color: DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontHeading + 2
            font.weight: Font.DemiBold
        }
        Body {
            Layout.fillWidth: true
            text: Help.aboutDescription
            wrapMode: Text.WordWrap
        }
        PrimaryButton {
            Layout.alignment: Qt.AlignRight
            text: Help.closeText
            onClicked: dialog.close()
        }
    }
}
