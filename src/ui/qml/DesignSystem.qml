pragma Singleton
import QtQuick

// Colours, spacing, type and motion of every screen.
QtObject {
    // Surfaces: dark and neutral, so a photo's colours are judged against nothing.
    readonly property color background: "#17181b"
    readonly property color surface: "#1e2024"
    readonly property color card: "#24272c"
    readonly property color cardRaised: "#2b2f35"
    readonly property color border: "#353940"
    readonly property color stage: "#0e0f11"

    readonly property color textPrimary: "#eceef1"
    readonly property color textSecondary: "#a3a9b3"
    readonly property color textMuted: "#767d88"

    readonly property color accent: "#7aa7ff"
    readonly property color accentPressed: "#5d8de6"
    readonly property color textOnAccent: "#0d1526"
    readonly property color danger: "#e0605d"
    readonly property color dangerPressed: "#c24d4a"

    readonly property color keep: "#43b97f"
    readonly property color maybe: "#e2b442"
    readonly property color reject: "#e0605d"
    readonly property color open: "#3a3e46"

    // Indexed by `Decision`, like the review's labels; no decision is `open`.
    readonly property list<color> decisionColors: [keep, maybe, reject]
    function decisionColor(decision: int): color {
        return decision >= 0 && decision < decisionColors.length ? decisionColors[decision] : open
    }

    readonly property int spacingXS: 4
    readonly property int spacingS: 8
    readonly property int spacingM: 16
    readonly property int spacingL: 24
    readonly property int spacingXL: 40
    readonly property int radius: 12
    readonly property int radiusSmall: 8

    readonly property int fontDisplay: 38
    readonly property int fontTitle: 26
    readonly property int fontHeading: 17
    readonly property int fontBody: 14
    readonly property int fontCaption: 12

    readonly property int fadeDuration: 220
    readonly property int contentWidth: 920
}
