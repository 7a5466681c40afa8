import QtQuick
import QtQuick.Controls
import Kestrava

// The main window: one screen per route, cross-faded; the menu; the alert; the dialogs; the
// one "Auswahl prüfen" window.
ApplicationWindow {
    id: window
    width: 1240
    height: 820
    // Fits a 1024×700 screen with a window manager's frame and a panel; the place and size
    // the window opens with come from C++, clamped to the screen it opens on.
    minimumWidth: 960
    minimumHeight: 600
    visible: true
    title: "Kestrava"
    color: DesignSystem.background

    menuBar: AppMenuBar {
        id: appMenuBar
        onShowShortcuts: keyboardHelp.open()
        onShowAbout: aboutBox.open()
        onSaveSession: Shell.requestSaveSession()
        onLoadSession: Shell.requestLoadSession()
        onExportCsv: Shell.requestCsvExport()
        onQuit: window.close()
    }
    header: TopBar {}

    Item {
        id: screens
        anchors.fill: parent
        // The screens' components are part of this file, so they see its ids; the linter of Qt 6.4
        // does not follow ids into inline components.
        RouteLayer { routes: [AppRoute.Welcome]; screen: Component { WelcomeScreen { dialogs: appDialogs } } } // qmllint disable unqualified
        RouteLayer { routes: [AppRoute.Scanning]; screen: Component { ScanningScreen {} } }
        RouteLayer { routes: [AppRoute.Setup]; screen: Component { SetupScreen { dialogs: appDialogs } } } // qmllint disable unqualified
        RouteLayer { routes: [AppRoute.Reviewing]; screen: Component { ReviewScreen {} } }
        RouteLayer { routes: [AppRoute.Confirmation]; screen: Component { ConfirmationScreen {} } }
        RouteLayer { routes: [AppRoute.TrashStaging, AppRoute.TrashConfirmation]; screen: Component { TrashConfirmationScreen {} } }
        RouteLayer { routes: [AppRoute.Executing]; screen: Component { ExecutionScreen {} } }
        RouteLayer { routes: [AppRoute.Completed]; screen: Component { CompletedScreen { dialogs: appDialogs } } } // qmllint disable unqualified
    }

    // While the person works in the audit window, answers appear there, not behind it.
    readonly property bool alertInAudit: auditWindow !== null && auditWindow.visible && !window.active
    AlertDialog {
        objectName: "mainAlert"
        message: window.alertInAudit ? "" : ViewModel.alertMessage
        onDismissed: ViewModel.dismissAlert()
    }

    // The review keys rest while the audit window is open: say why, and let Esc end it here too.
    Rectangle {
        anchors.top: parent.top
        anchors.horizontalCenter: parent.horizontalCenter
        // Over the top edge of the picture, below the review's title row and its buttons.
        anchors.topMargin: 84
        width: Math.min(parent.width - 2 * DesignSystem.spacingL, 640)
        height: pausedHint.implicitHeight
        visible: pausedHint.text.length > 0
        radius: DesignSystem.radiusSmall
        color: DesignSystem.cardRaised
        NoticeBanner {
            id: pausedHint
            objectName: "reviewPausedHint"
            anchors.fill: parent
            text: ViewModel.route === AppRoute.Reviewing ? ViewModel.audit.reviewPausedHint : ""
        }
    }
    Shortcut {
        sequence: "Esc"
        enabled: window.auditWindow !== null && ViewModel.audit.presented
        onActivated: window.auditWindow.close()
    }

    AppDialogs { id: appDialogs }
    KeyboardHelp { id: keyboardHelp }
    AboutBox { id: aboutBox }
    Shortcut {
        sequence: "F10"
        onActivated: appMenuBar.openFirstMenu()
    }

    // The selection review exists only when asked for, and only once.
    property AuditWindow auditWindow: null
    function openAudit() {
        if (!auditWindow) {
            auditWindow = auditComponent.createObject(null)
            auditWindow.alertMessage = Qt.binding(() => window.alertInAudit ? ViewModel.alertMessage : "")
            auditWindow.mainWindowWanted.connect(window.comeForward)
        }
        auditWindow.show()
        auditWindow.raise()
        auditWindow.requestActivate()
    }
    function comeForward() {
        window.raise()
        window.requestActivate()
    }
    Component {
        id: auditComponent
        AuditWindow {}
    }

    Connections {
        target: ViewModel.audit
        function onRequestIDChanged() {
            const request = ViewModel.audit.requestID
            if (request.length === 0)
                return
            window.openAudit()
            ViewModel.audit.consumeReviewAuditRequest(request)
        }
    }
    Connections {
        target: ViewModel
        function onRouteChanged() {
            // The audit belongs to the review; once the workflow has moved on it closes.
            // The next screen is the answer to what was done there: it comes to the front.
            if (window.auditWindow && window.auditWindow.visible && ViewModel.route !== AppRoute.Reviewing) {
                window.auditWindow.close()
                window.comeForward()
            }
        }
    }
    Connections {
        target: Shell
        function onSaveSessionRequested() { appDialogs.saveSession() }
        function onLoadSessionRequested() {
            // The audit window's shortcut arrives here too; the menu item is disabled meanwhile.
            if (ViewModel.session.canOpenSessionDocument)
                appDialogs.openSession()
        }
        function onCsvExportRequested() { appDialogs.exportCsv() }
    }

    // What a screen reader announces after a decision.
    Text {
        visible: false
        text: ViewModel.review.accessibilityAnnouncement
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Component.onCompleted: Shell.mainContentShown()
    onClosing: {
        Shell.mainContentHidden()
        if (auditWindow)
            auditWindow.close()
        Qt.quit()
    }
}
