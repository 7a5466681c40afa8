// The words the window chooses between: each test is one decision a screen depends on.

#include "workflow/WindowWording.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace Qt::StringLiterals;

TEST(WindowWording, groupFormatNamesPairsSinglesAndOthers)
{
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::jpeg, PhotoFormatGroup::raw}), u"JPEG + RAW"_s);
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::raw, PhotoFormatGroup::jpeg}), u"JPEG + RAW"_s);
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::jpeg}), u"JPEG"_s);
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::raw}), u"RAW"_s);
    EXPECT_EQ(Wording::groupFormatLabel({PhotoFormatGroup::other}), u"Andere"_s);
    // A member the view model no longer knows leaves nothing to name.
    EXPECT_EQ(Wording::groupFormatLabel({}), u"Andere"_s);
}

TEST(WindowWording, countsUseSingularOnlyForOne)
{
    EXPECT_EQ(WindowWording::fileCountText(1), u"1 Datei"_s);
    EXPECT_EQ(WindowWording::fileCountText(2), u"2 Dateien"_s);
    EXPECT_EQ(WindowWording::fileCountText(0), u"0 Dateien"_s);
    EXPECT_EQ(WindowWording::shotsAndFilesText(12, 20), u"12 Motive · 20 Dateien"_s);
    EXPECT_EQ(WindowWording::shotsAndFilesText(1, 1), u"1 Motiv · 1 Datei"_s);
}

TEST(WindowWording, searchIsCaseInsensitiveSubstringOfAnyMember)
{
    const QStringList pair{u"IMG_0042.JPG"_s, u"IMG_0042.CR3"_s};
    EXPECT_TRUE(WindowWording::matchesSearch(pair, u"img_0042"_s));
    EXPECT_TRUE(WindowWording::matchesSearch(pair, u".cr3"_s));
    EXPECT_TRUE(WindowWording::matchesSearch(pair, u"  0042 "_s)); // pasted with blanks
    EXPECT_FALSE(WindowWording::matchesSearch(pair, u"0043"_s));
    EXPECT_TRUE(WindowWording::matchesSearch(pair, u""_s));
    EXPECT_TRUE(WindowWording::matchesSearch({u"Ärger.jpg"_s}, u"ärger"_s));
}

TEST(WindowWording, decisionLabelsAndAccessibleSelection)
{
    EXPECT_EQ(WindowWording::decisionAccessibleLabel(PhotoDecision::keep, false), u"Behalten"_s);
    EXPECT_EQ(WindowWording::decisionAccessibleLabel(PhotoDecision::maybe, true), u"Vielleicht, ausgewählt"_s);
    EXPECT_EQ(WindowWording::decisionAccessibleLabel(PhotoDecision::del, true), u"Aussortiert, ausgewählt"_s);
}

TEST(WindowWording, reviewChoicesNeedTheirFormats)
{
    EXPECT_TRUE(WindowWording::reviewChoiceAvailable(FormatReviewChoice::both, 3, 3));
    EXPECT_FALSE(WindowWording::reviewChoiceAvailable(FormatReviewChoice::both, 3, 0));
    EXPECT_FALSE(WindowWording::reviewChoiceAvailable(FormatReviewChoice::both, 0, 3));
    EXPECT_TRUE(WindowWording::reviewChoiceAvailable(FormatReviewChoice::jpeg, 1, 0));
    EXPECT_FALSE(WindowWording::reviewChoiceAvailable(FormatReviewChoice::raw, 1, 0));
}

TEST(WindowWording, storageLineFollowsDestinationAndCheck)
{
    EXPECT_EQ(WindowWording::storageCheckText(false, false, {}), u"Speicherprüfung steht aus"_s);
    EXPECT_EQ(WindowWording::storageCheckText(true, true, u"alt"_s), u"Freier Speicher wird geprüft …"_s);
    EXPECT_EQ(WindowWording::storageCheckText(true, false, u"Genug Platz"_s), u"Genug Platz"_s);
    EXPECT_EQ(WindowWording::storageCheckText(true, false, {}), u"Speicherprüfung steht aus"_s);
}

TEST(WindowWording, reviewGuardsAndPreviewStates)
{
    EXPECT_EQ(WindowWording::inputGuardText(true, true, true), u"Entscheidung wird gesichert"_s);
    EXPECT_EQ(WindowWording::inputGuardText(false, false, true), u"Nächstes Foto wird geladen"_s);
    EXPECT_EQ(WindowWording::inputGuardText(false, true, true), QString());
    EXPECT_EQ(WindowWording::inputGuardText(false, false, false), QString());

    EXPECT_EQ(WindowWording::previewStatusText(true, false, false), u"Vorschau wird geladen …"_s);
    EXPECT_EQ(WindowWording::previewStatusText(false, true, false), u"Keine Vorschau verfügbar"_s);
    EXPECT_EQ(WindowWording::previewStatusText(true, false, true), QString());
}

TEST(WindowWording, trashTextsNameTheLinuxTrash)
{
    EXPECT_TRUE(WindowWording::trashSafetyText().contains(u"ausschließlich den System-Papierkorb und niemals"_s));
    EXPECT_FALSE(WindowWording::trashSafetyText().contains(u"macOS"_s));
    EXPECT_EQ(WindowWording::manualReviewText(2),
              u"2 Datei(en) benötigen eine manuelle Prüfung. Automatische Aktionen sind gesperrt."_s);
    EXPECT_EQ(WindowWording::volumeLine(false), u"Sicherheitsablage liegt auf einem getrennten Volume"_s);
    EXPECT_TRUE(WindowWording::stagingLead(7).startsWith(u"7 aussortierte Dateien werden vollständig kopiert"_s));
}

TEST(WindowWording, transferRateAndTimeLeft)
{
    EXPECT_EQ(WindowWording::transferRateText(0), QString());
    EXPECT_TRUE(WindowWording::transferRateText(12'500'000).endsWith(u"/s"_s));
    EXPECT_EQ(Wording::timeLeftText(1000, 0), QString());
    EXPECT_EQ(Wording::timeLeftText(0, 100), QString());
    EXPECT_EQ(Wording::timeLeftText(300, 100), u"noch weniger als 5 s"_s);
    EXPECT_EQ(Wording::timeLeftText(3'700, 100), u"noch etwa 40 s"_s);
    EXPECT_EQ(Wording::timeLeftText(12'000, 100), u"noch etwa 2 min"_s);
    EXPECT_EQ(Wording::timeLeftText(400'000, 100), u"noch etwa 1 h 7 min"_s);
}

TEST(WindowWording, completionHeadlineWarnsOnFailuresOrPendingFiles)
{
    EXPECT_EQ(WindowWording::completedHeadline(true, 0, 0), u"Deine Fotos sind sortiert."_s);
    EXPECT_EQ(WindowWording::completedHeadline(true, 1, 0), u"Sortierung mit Hinweisen beendet."_s);
    EXPECT_EQ(WindowWording::completedHeadline(true, 0, 3), u"Sortierung mit Hinweisen beendet."_s);
    EXPECT_EQ(WindowWording::completedHeadline(false, 0, 0), u"Keine Ergebnisdaten verfügbar."_s);
    EXPECT_EQ(WindowWording::pendingText(3), u"3 Dateien sind ausstehend und können fortgesetzt werden."_s);
}

TEST(WindowWording, resultCardsShowTrashCountsOnlyWhereTrashingHappened)
{
    WindowWording::ResultCounts counts;
    counts.organized = 10;
    counts.pending = 2;
    counts.errors = 1;
    const auto labels = [](const QList<ResultCard>& cards) {
        QStringList names;
        for (const auto& card : cards)
            names.append(card.label + u'=' + card.value);
        return names;
    };
    EXPECT_EQ(labels(WindowWording::resultCards(counts, false)),
              (QStringList{u"Organisiert=10"_s, u"Bereits erledigt=0"_s, u"Ausstehend=2"_s, u"Fehler=1"_s}));
    const auto trash = WindowWording::resultCards(counts, true);
    EXPECT_EQ(labels(trash), (QStringList{u"Organisiert=10"_s, u"Bereits erledigt=0"_s, u"Ausstehend=2"_s, u"Im Papierkorb=0"_s,
                                          u"Aussortiert belassen=0"_s, u"Fehler=1"_s}));
    EXPECT_EQ(trash[2].tone, ResultCard::Tone::attention);
    EXPECT_EQ(trash[5].tone, ResultCard::Tone::failure);
    // A resumed trash run still shows what went to the Trash, whatever the mode says now.
    counts.trashed = 3;
    EXPECT_EQ(WindowWording::resultCards(counts, false).size(), 6);
    EXPECT_EQ(WindowWording::fileProgressText(3, 12), u"3 / 12"_s);
    EXPECT_EQ(WindowWording::byteProgressText(0, 0), u"0 Byte von 0 Byte"_s);
}

TEST(WindowWording, originalsAreNamedByTheirPlaceNotTheirFileSystem)
{
    // The root file system: no label, mounted at "/".
    EXPECT_EQ(WindowWording::sourceVolumeLine(SourceVolumeSummary{u"/"_s, u"/"_s, u"ext4"_s, true, false}),
              u"Originale auf der Systemfestplatte (intern)"_s);
    EXPECT_EQ(WindowWording::sourceVolumeLine(SourceVolumeSummary{u"uuid-1"_s, u"EOS_DIGITAL"_s, u"exfat"_s, true, true}),
              u"Originale auf „EOS_DIGITAL“ (Wechseldatenträger)"_s);
    EXPECT_EQ(WindowWording::sourceVolumeLine(SourceVolumeSummary{u"nas:/fotos"_s, u"fotos"_s, u"nfs4"_s, false, false}),
              u"Originale auf „fotos“ (Netzlaufwerk)"_s);
}
