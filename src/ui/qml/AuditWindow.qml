import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import QtQuick.Window
import Kestrava

// Lines marked for the linter reach this file's ids from inside a delegate, which Qt 6.4's
// linter does not resolve; they are checked at run time by the Quick tests.

// "Auswahl prüfen": every group with its decision, to check, change and confirm.
Window {
    id: window
    title: "Auswahl prüfen"
    // Never larger than the screen, with room for the window manager's frame.
    width: Math.min(1180, Screen.desktopAvailableWidth - 8)
    height: Math.min(780, Screen.desktopAvailableHeight - 36)
    minimumWidth: 860
    minimumHeight: 520
    color: DesignSystem.background
    // The window's alert while the person works here; the main window decides which one shows it.
    property string alertMessage
    // An action here changed the main window (a row shown large): it must come to the front.
    signal mainWindowWanted()

    AuditListModel {
        id: rows
        viewModel: ViewModel
    }

    // The one place that says whether the window shows.
    onVisibleChanged: ViewModel.audit.setPresented(visible)

    // The session commands work from this window too.
    Shortcut { sequence: StandardKey.Save; onActivated: Shell.requestSaveSession() } // qmllint disable unqualified
    Shortcut { sequence: StandardKey.Open; onActivated: Shell.requestLoadSession() } // qmllint disable unqualified
    Shortcut { sequence: StandardKey.Find; onActivated: header.focusSearch() } // qmllint disable unqualified
    Shortcut { sequences: [StandardKey.Close, "Esc"]; onActivated: window.close() } // qmllint disable unqualified

    FocusScroller { flickable: list }

    Connections {
        target: rows
        function onMainReviewShown() { window.mainWindowWanted() }
    }

    AlertDialog {
        objectName: "auditAlert"
        message: window.alertMessage
        onDismissed: ViewModel.dismissAlert()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        AuditHeader {
            id: header
            Layout.fillWidth: true
            model: rows
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 30
            color: DesignSystem.surface
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: DesignSystem.spacingL + 76
                anchors.rightMargin: DesignSystem.spacingL
                Text { Layout.fillWidth: true; text: "DATEI"; color: DesignSystem.textMuted; font.pixelSize: DesignSystem.fontCaption; font.letterSpacing: 1 }
                Text { Layout.preferredWidth: 420; text: "ENTSCHEIDUNG"; color: DesignSystem.textMuted; font.pixelSize: DesignSystem.fontCaption; font.letterSpacing: 1 }
            }
        }

        ListView {
            id: list
            objectName: "auditList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: rows
            focus: true
            keyNavigationEnabled: true
            highlightMoveDuration: 0
            reuseItems: true
            cacheBuffer: 400
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar { policy: ScrollBar.AlwaysOn }
            delegate: AuditRow {
                width: list.width // qmllint disable unqualified
                controlsDisabled: rows.controlsDisabled // qmllint disable unqualified
                current: ListView.isCurrentItem
                onDecide: (decision) => rows.decide(index, decision)
                onShowLarge: rows.showLarge(index) // qmllint disable unqualified
            }
            // The keys of the selected row come from the window's one key table.
            Keys.onPressed: (event) => { event.accepted = rows.pressKey(list.currentIndex, event.key) }

            ColumnLayout {
                anchors.centerIn: parent
                visible: rows.count === 0
                spacing: DesignSystem.spacingS
                Heading {
                    objectName: "auditEmptyTitle"
                    Layout.alignment: Qt.AlignHCenter
                    text: "Keine Motive gefunden"
                }
                Body {
                    Layout.alignment: Qt.AlignHCenter
                    text: "Passe Suche oder Filter an."
                }
            }
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 68
            color: DesignSystem.surface
            Rectangle { width: parent.width; height: 1; color: DesignSystem.border }
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: DesignSystem.spacingL
                anchors.rightMargin: DesignSystem.spacingL
                Caption {
                    Layout.fillWidth: true
                    text: "↑ ↓ Zeile wählen · 1 Behalten · 2 Vielleicht · 3 Aussortiert · ⏎ Vorschau"
                }
                PrimaryButton {
                    objectName: "confirmSelectionButton"
                    text: "Auswahl bestätigen"
                    enabled: !rows.controlsDisabled && ViewModel.review.reviewGroupCount > 0
                    onClicked: ViewModel.review.beginCompletionFlow()
                }
            }
        }
    }
}
