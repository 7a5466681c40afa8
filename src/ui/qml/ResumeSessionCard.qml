import QtQuick
import QtQuick.Layouts
import Kestrava

Card {
    objectName: "resumeSessionCard"
    highlighted: true
    implicitHeight: column.implicitHeight + 2 * padding
    ColumnLayout {
        id: column
        width: parent.width
        spacing: DesignSystem.spacingM
        Heading {
            text: "Weitermachen, wo du aufgehört hast?"
        }
        Body {
            Layout.fillWidth: true
            text: ViewModel.session.resumableSessionDescription
            wrapMode: Text.WordWrap
        }
        RowLayout {
            spacing: DesignSystem.spacingS
            PrimaryButton { text: "Fortsetzen"; onClicked: ViewModel.session.resumeSavedSession() }
            SecondaryButton { text: "Ignorieren"; onClicked: ViewModel.session.ignoreSavedSession() }
        }
    }
}
