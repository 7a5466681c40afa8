import QtQuick
import Kestrava

// A calm rounded surface that holds one topic.
Rectangle {
    default property alias content: inner.data
    property int padding: DesignSystem.spacingL
    property bool highlighted: false
    color: DesignSystem.card
    radius: DesignSystem.radius
    border.color: highlighted ? DesignSystem.accent : DesignSystem.border
    border.width: highlighted ? 2 : 1
    implicitWidth: inner.implicitWidth + 2 * padding
    implicitHeight: inner.implicitHeight + 2 * padding

    Item {
        id: inner
        anchors.fill: parent
        anchors.margins: parent.padding
        implicitWidth: childrenRect.width
        implicitHeight: childrenRect.height
    }
}
