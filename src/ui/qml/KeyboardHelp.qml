import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Every key the windows answer to, grouped by where it works.
Dialog {
    id: dialog
    objectName: "keyboardHelp"
    modal: true
    onOpened: Shell.overlayOpened()
    onClosed: Shell.overlayClosed()
    anchors.centerIn: Overlay.overlay
    width: Math.min(560, parent ? parent.width - 80 : 560)
    height: Math.min(implicitHeight, parent ? parent.height - 40 : implicitHeight)
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside
    padding: DesignSystem.spacingL
    background: Rectangle {
        radius: DesignSystem.radius
        color: DesignSystem.cardRaised
        border.color: DesignSystem.border
    }
    contentItem: ColumnLayout {
        spacing: DesignSystem.spacingM
        Heading {
            text: Help.shortcutsText
        }
        ScrollView {
            id: scroller
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.preferredHeight: sections.implicitHeight
            contentWidth: availableWidth
            clip: true
            ColumnLayout {
                id: sections
                width: scroller.availableWidth
                spacing: DesignSystem.spacingM
                Repeater {
                    model: Help.shortcuts
                    ColumnLayout {
                        id: section
                        required property var modelData
                        Layout.fillWidth: true
                        spacing: DesignSystem.spacingXS
                        Caption {
                            text: section.modelData.title
                            color: DesignSystem.textSecondary
                            font.weight: Font.DemiBold
                        }
                        Repeater {
                            model: section.modelData.keys
                            RowLayout {
                                id: shortcut
                                required property var modelData
                                Layout.fillWidth: true
                                spacing: DesignSystem.spacingM
                                Body {
                                    Layout.preferredWidth: 170
                                    text: shortcut.modelData.keys
                                    color: DesignSystem.accent
                                    wrapMode: Text.WordWrap
                                }
                                Body {
                                    Layout.fillWidth: true
                                    text: shortcut.modelData.action
                                    color: DesignSystem.textPrimary
                                    wrapMode: Text.WordWrap
                                }
                            }
                        }
                    }
                }
            }
        }
        PrimaryButton {
            Layout.alignment: Qt.AlignRight
            text: Help.closeText
            onClicked: dialog.close()
        }
    }
}
