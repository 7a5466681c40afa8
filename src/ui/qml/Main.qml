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
        RouteLayer { routes: [AppRoute.Welcome]; screen: Component { WelcomeScreen { dialogs: appDialogs } } }
        RouteLayer { routes: [AppRoute.Scanning]; screen: Component { ScanningScreen {} } }
        RouteLayer { routes: [AppRoute.Setup]; screen: Component { SetupScreen { dialogs: appDialogs } } }
        RouteLayer { routes: [AppRoute.Reviewing]; screen: Component { ReviewScreen {} } }
        RouteLayer { routes: [AppRoute.Confirmation]; screen: Component { ConfirmationScreen {} } }
        RouteLayer { routes: [AppRoute.TrashStaging, AppRoute.TrashConfirmation]; screen: Component { TrashConfirmationScreen {} } }
        RouteLayer { routes: [AppRoute.Executing]; screen: Component { ExecutionScreen {} } }
        RouteLayer { routes: [AppRoute.Completed]; screen: Component { CompletedScreen { dialogs: appDialogs } } }
    }

    AlertDialog {
        message: ViewModel.alertMessage
        onDismissed: ViewModel.dismissAlert()
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
        }
        auditWindow.show()
        auditWindow.raise()
        auditWindow.requestActivate()
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
            if (window.auditWindow && window.auditWindow.visible && ViewModel.route !== AppRoute.Reviewing)
                window.auditWindow.close()
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
