import QtQuick
import QtTest
import Kestrava

// Labels in narrow places: long values and button texts continue between words, never cut.
Item {
    width: 1016
    height: 664

    MetricCard {
        id: card
        // The narrowest a card gets: four in a row at the smallest content width.
        width: 218
        label: "Datenmenge"
        value: "47,7 MB von 99,1 MB"
    }
    SecondaryButton {
        id: button
        y: 200
        // The undo button's narrowest in the decision dock.
        width: 200
        text: "Letzte Entscheidung zurücknehmen"
    }
    PrimaryButton {
        id: primary
        y: 300
        text: "Sicherheitsablage vorbereiten"
    }

    TestCase {
        name: "NarrowLabels"
        when: windowShown

        function test_metricValueWrapsInsteadOfBeingCut() {
            const value = findChild(card, "metricValue")
            verify(!value.truncated)
            verify(value.lineCount > 1)
            // The card grows with its second line rather than letting it spill out.
            verify(card.height >= value.y + value.height)
        }

        function test_buttonTextWrapsBetweenWords() {
            verify(!button.contentItem.truncated)
            compare(button.contentItem.lineCount, 2)
        }

        function test_buttonAtItsOwnWidthKeepsOneLine() {
            // A width a fraction of a pixel short of the text's would push the last word down.
            compare(primary.contentItem.lineCount, 1)
            verify(!primary.contentItem.truncated)
        }
    }
}
