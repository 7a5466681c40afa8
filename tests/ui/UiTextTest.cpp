// The words the screens choose between: each test is one decision a screen depends on.

#include "trash/TrashJson.h"
#include "ui/UiText.h"
#include "ui/UiTexts.h"

#include <QVariantMap>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace Qt::StringLiterals;

TEST(UiText, groupFormatNamesPairsSinglesAndOthers)
{
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::jpeg, PhotoFormatGroup::raw}), u"JPEG + RAW"_s);
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::raw, PhotoFormatGroup::jpeg}), u"JPEG + RAW"_s);
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::jpeg}), u"JPEG"_s);
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::raw}), u"RAW"_s);
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::other}), u"Andere"_s);
    // A member the view model no longer knows leaves nothing to name.
    EXPECT_EQ(Wording::groupFormatLabel({}), u"Andere"_s);
}

TEST(UiText, countsUseSingularOnlyForOne)
{
    EXPECT_EQ(UiText::fileCountText(1), u"1 Datei"_s);
    EXPECT_EQ(UiText::fileCountText(2), u"2 Dateien"_s);
    EXPECT_EQ(UiText::fileCountText(0), u"0 Dateien"_s);
    EXPECT_EQ(UiText::auditSummary(12, 20), u"12 Motive · 20 Dateien"_s);
}

TEST(UiText, searchIsCaseInsensitiveSubstringOfAnyMember)
{
    const QStringList pair{u"IMG_0042.JPG"_s, u"IMG_0042.CR3"_s};
    EXPECT_TRUE(UiText::matchesSearch(pair, u"img_0042"_s));
    EXPECT_TRUE(UiText::matchesSearch(pair, u".cr3"_s));
    EXPECT_TRUE(UiText::matchesSearch(pair, u"  0042 "_s)); // pasted with blanks
    EXPECT_FALSE(UiText::matchesSearch(pair, u"0043"_s));
    EXPECT_TRUE(UiText::matchesSearch(pair, u""_s));
    EXPECT_TRUE(UiText::matchesSearch({u"Ärger.jpg"_s}, u"ärger"_s));
}

TEST(UiText, decisionLabelsAndAccessibleSelection)
{
    EXPECT_EQ(UiText::decisionAccessibleLabel(PhotoDecision::keep, false), u"Behalten"_s);
    EXPECT_EQ(UiText::decisionAccessibleLabel(PhotoDecision::maybe, true), u"Vielleicht, ausgewählt"_s);
    EXPECT_EQ(UiText::decisionAccessibleLabel(PhotoDecision::del, true), u"Aussortiert, ausgewählt"_s);
}

TEST(UiText, reviewChoicesNeedTheirFormats)
{
    EXPECT_TRUE(UiText::reviewChoiceAvailable(FormatReviewChoice::both, 3, 3));
    EXPECT_FALSE(UiText::reviewChoiceAvailable(FormatReviewChoice::both, 3, 0));
    EXPECT_FALSE(UiText::reviewChoiceAvailable(FormatReviewChoice::both, 0, 3));
    EXPECT_TRUE(UiText::reviewChoiceAvailable(FormatReviewChoice::jpeg, 1, 0));
    EXPECT_FALSE(UiText::reviewChoiceAvailable(FormatReviewChoice::raw, 1, 0));
}

TEST(UiText, storageLineFollowsDestinationAndCheck)
{
    EXPECT_EQ(UiText::storageCheckText(false, false, {}), u"Speicherprüfung steht aus"_s);
    EXPECT_EQ(UiText::storageCheckText(true, true, u"alt"_s), u"Freier Speicher wird geprüft …"_s);
    EXPECT_EQ(UiText::storageCheckText(true, false, u"Genug Platz"_s), u"Genug Platz"_s);
    EXPECT_EQ(UiText::storageCheckText(true, false, {}), u"Speicherprüfung steht aus"_s);
}

TEST(UiText, reviewGuardsAndPreviewStates)
{
    EXPECT_EQ(UiText::inputGuardText(true, true, true), u"Entscheidung wird gesichert"_s);
    EXPECT_EQ(UiText::inputGuardText(false, false, true), u"Nächstes Foto wird geladen"_s);
    EXPECT_EQ(UiText::inputGuardText(false, true, true), QString());
    EXPECT_EQ(UiText::inputGuardText(false, false, false), QString());

    EXPECT_EQ(UiText::previewStatusText(true, false, false), u"Vorschau wird geladen …"_s);
    EXPECT_EQ(UiText::previewStatusText(false, true, false), u"Keine Vorschau verfügbar"_s);
    EXPECT_EQ(UiText::previewStatusText(true, false, true), QString());
}

TEST(UiText, trashTextsNameTheLinuxTrash)
{
    EXPECT_TRUE(UiText::trashSafetyText().contains(u"ausschließlich den System-Papierkorb und niemals"_s));
    EXPECT_FALSE(UiText::trashSafetyText().contains(u"macOS"_s));
    EXPECT_EQ(UiText::manualReviewText(2),
              u"2 Datei(en) benötigen eine manuelle Prüfung. Automatische Aktionen sind gesperrt."_s);
    EXPECT_EQ(UiText::volumeLine(false), u"Sicherheitsablage liegt auf einem getrennten Volume"_s);
    EXPECT_TRUE(UiText::stagingLead(7).startsWith(u"7 aussortierte Dateien werden vollständig kopiert"_s));
}

TEST(UiText, transferRateAndTimeLeft)
{
    EXPECT_EQ(UiText::transferRateText(0), QString());
    EXPECT_TRUE(UiText::transferRateText(12'500'000).endsWith(u"/s"_s));
    EXPECT_EQ(Wording::timeLeftText(1000, 0), QString());
    EXPECT_EQ(Wording::timeLeftText(0, 100), QString());
    EXPECT_EQ(Wording::timeLeftText(300, 100), u"noch weniger als 5 s"_s);
    EXPECT_EQ(Wording::timeLeftText(3'700, 100), u"noch etwa 40 s"_s);
    EXPECT_EQ(Wording::timeLeftText(12'000, 100), u"noch etwa 2 min"_s);
    EXPECT_EQ(Wording::timeLeftText(400'000, 100), u"noch etwa 1 h 7 min"_s);
}

TEST(UiText, completionHeadlineWarnsOnFailuresOrPendingFiles)
{
    EXPECT_EQ(UiText::completedHeadline(true, 0, 0), u"Deine Fotos sind sortiert."_s);
    EXPECT_EQ(UiText::completedHeadline(true, 1, 0), u"Sortierung mit Hinweisen beendet."_s);
    EXPECT_EQ(UiText::completedHeadline(true, 0, 3), u"Sortierung mit Hinweisen beendet."_s);
    EXPECT_EQ(UiText::completedHeadline(false, 0, 0), u"Keine Ergebnisdaten verfügbar."_s);
    EXPECT_EQ(UiText::pendingText(3), u"3 Dateien sind ausstehend und können fortgesetzt werden."_s);
}

TEST(UiText, resultCardsShowTrashCountsOnlyWhereTrashingHappened)
{
    UiText::ResultCounts counts;
    counts.organized = 10;
    counts.pending = 2;
    counts.errors = 1;
    const auto labels = [](const QList<UiText::ResultCard>& cards) {
        QStringList names;
        for (const auto& card : cards)
            names.append(card.label + u'=' + card.value);
        return names;
    };
    EXPECT_EQ(labels(UiText::resultCards(counts, false)),
              (QStringList{u"Organisiert=10"_s, u"Bereits erledigt=0"_s, u"Ausstehend=2"_s, u"Fehler=1"_s}));
    const auto trash = UiText::resultCards(counts, true);
    EXPECT_EQ(labels(trash), (QStringList{u"Organisiert=10"_s, u"Bereits erledigt=0"_s, u"Ausstehend=2"_s, u"Im Papierkorb=0"_s,
                                          u"Aussortiert belassen=0"_s, u"Fehler=1"_s}));
    EXPECT_EQ(trash[2].tone, UiText::CardTone::attention);
    EXPECT_EQ(trash[5].tone, UiText::CardTone::failure);
    // A resumed trash run still shows what went to the Trash, whatever the mode says now.
    counts.trashed = 3;
    EXPECT_EQ(UiText::resultCards(counts, false).size(), 6);
    EXPECT_EQ(UiText::fileProgressText(3, 12), u"3 / 12"_s);
    EXPECT_EQ(UiText::byteProgressText(0, 0), u"0 Byte von 0 Byte"_s);
}

TEST(UiTexts, readsExecutionAndTrashValuesFromTheirMaps)
{
    UiTexts texts;
    const QVariantMap progress{{u"completedBytes"_s, 250}, {u"totalBytes"_s, 1000}, {u"bytesPerSecond"_s, 100.0},
                               {u"completedFiles"_s, 1}, {u"totalFiles"_s, 4}};
    EXPECT_DOUBLE_EQ(texts.progressFraction(progress), 0.25);
    EXPECT_EQ(texts.timeLeftText(progress), u"noch etwa 10 s"_s);
    EXPECT_DOUBLE_EQ(texts.progressFraction(QVariantMap{{u"completedFiles"_s, 1}, {u"totalFiles"_s, 4}}), 0.25);
    EXPECT_DOUBLE_EQ(texts.progressFraction(QVariant()), 0.0);

    EXPECT_EQ(texts.phaseProgressText(QVariantMap{{u"phase"_s, u"Kopieren"_s}, {u"completedFiles"_s, 1}, {u"totalFiles"_s, 4}}),
              u"Kopieren · 1 / 4"_s);
    EXPECT_EQ(texts.fileProgressText(QVariant()), u"–"_s);

    const QVariantMap result{{u"organizedCount"_s, 4}, {u"errors"_s, QVariantList{u"x"_s}}, {u"pendingCount"_s, 0}};
    EXPECT_TRUE(texts.hasResult(result));
    EXPECT_EQ(texts.completedHeadline(result), u"Sortierung mit Hinweisen beendet."_s);
    EXPECT_FALSE(texts.hasResult(QVariant()));
    EXPECT_EQ(texts.completedHeadline(QVariant()), u"Keine Ergebnisdaten verfügbar."_s);
    const QVariantList cards = texts.resultCards(result, u"safeCopy"_s);
    ASSERT_EQ(cards.size(), 4);
    EXPECT_EQ(cards.last().toMap().value(u"tone"_s).toString(), u"failure"_s);

    // The session document's form of a preparation, as the view model publishes it.
    TrashPreparation preparation;
    preparation.sessionID = QUuid::createUuid();
    preparation.stagingRoot = FileUrl::fromLocalPath(u"/tmp/Ergebnis/Sicherheitsablage"_s);
    preparation.sameVolumeAsSource = true;
    for (auto state : {TrashTransactionState::stagedVerified, TrashTransactionState::needsReview, TrashTransactionState::trashIntent}) {
        TrashEntry entry;
        entry.id = QUuid::createUuid();
        entry.groupID = QUuid::createUuid();
        entry.sourceURL = FileUrl::fromLocalPath(u"/tmp/Shoot/IMG_1.JPG"_s);
        entry.stagingURL = FileUrl::fromLocalPath(u"/tmp/Ergebnis/Sicherheitsablage/IMG_1.JPG"_s);
        entry.state = state;
        preparation.entries.append(entry);
    }
    preparation.sourceVolumes.append(SourceVolumeSummary{u"dev:1"_s, u"Fotos"_s, u"ext4"_s, true, false});
    const QVariantMap published = toJson(preparation).toVariantMap();
    EXPECT_EQ(texts.sourceVolumeTexts(published), QStringList{u"Originale auf Fotos · ext4 · lokal"_s});
    EXPECT_EQ(texts.manualReviewCount(published), preparation.needsReviewCount());
    EXPECT_EQ(texts.manualReviewCount(published), 2);
    EXPECT_EQ(texts.volumeLine(published), u"Gleiches Laufwerk: Schutz vor versehentlichem Löschen, nicht vor Laufwerksdefekt"_s);
    EXPECT_EQ(texts.manualReviewCount(QVariant()), 0);
    EXPECT_EQ(texts.manualReviewCount(QVariantMap{{u"entries"_s, u"kaputt"_s}}), 0);
}
