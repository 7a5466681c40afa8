import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Shows a message whenever one is set; closing it clears the message.
Dialog {
    id: dialog
    property string message
    signal dismissed()
    modal: true
    anchors.centerIn: Overlay.overlay
    width: Math.min(520, parent ? parent.width - 80 : 520)
    // Opened for every new message; closing clears it, so the next one opens again. A message
    // taken away (shown in the other window now) closes it without answering it.
    onMessageChanged: message.length > 0 ? open() : close()
    Component.onCompleted: if (message.length > 0) open()
    closePolicy: Popup.CloseOnEscape
    padding: DesignSystem.spacingL
    background: Rectangle {
        radius: DesignSystem.radius
        color: DesignSystem.cardRaised
        border.color: DesignSystem.border
    }
    contentItem: ColumnLayout {
        spacing: DesignSystem.spacingL
        Text {
            Layout.fillWidth: true
            text: dialog.message
            color: DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontBody + 1
            wrapMode: Text.WordWrap
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        PrimaryButton {
            Layout.alignment: Qt.AlignRight
            text: "OK"
            // Holds the focus while the alert shows, so Enter answers it as on any desktop.
            focus: true
            onClicked: dialog.close()
            Keys.onReturnPressed: dialog.close()
            Keys.onEnterPressed: dialog.close()
        }
    }
    onClosed: if (message.length > 0) dismissed()
}
