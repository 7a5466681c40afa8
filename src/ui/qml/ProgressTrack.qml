import QtQuick
import QtQuick.Controls
import Kestrava

// The progress bar of the working screens, in the window's dark palette.
ProgressBar {
    id: bar
    from: 0
    to: 1
    implicitHeight: 8
    background: Rectangle {
        implicitWidth: 200
        implicitHeight: 8
        radius: 4
        color: DesignSystem.open
    }
    contentItem: Item {
        implicitWidth: 200
        implicitHeight: 8
        clip: true
        Rectangle {
            id: fill
            width: bar.indeterminate ? parent.width * 0.25 : bar.visualPosition * parent.width
            height: parent.height
            radius: 4
            color: DesignSystem.accent
            // A slow sweep while nothing is counted yet; none under reduced motion.
            NumberAnimation on x {
                id: sweep
                running: bar.indeterminate && bar.visible && !Shell.reducedMotion
                loops: Animation.Infinite
                from: 0
                to: bar.width * 0.75
                duration: 1400
                onRunningChanged: if (!running) fill.x = 0
            }
        }
    }
}
