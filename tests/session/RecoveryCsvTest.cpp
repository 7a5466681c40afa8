#include "SessionTestData.h"
#include "session/RecoveryCsv.h"
#include "session/SessionStoreError.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// The message of the error parse() throws, or "" when it accepts the data.
QString failureText(const QByteArray& data)
{
    try {
        RecoveryCSVImporter::parse(data);
    } catch (const SessionStoreError& error) {
        return error.description();
    }
    return {};
}

} // namespace

TEST(RecoveryCsvTokens, quotesCommasDoubledQuotesAndAllThreeLineBreaks)
{
    const auto records = RecoveryCSVImporter::parseRecords(u"a,\"b, \"\"c\"\"\",d\r\ne,\"zwei\nZeilen\"\rf\n\ng,,\r\n"_s);
    ASSERT_EQ(records.size(), 4);
    EXPECT_EQ(records[0], (QStringList{u"a"_s, u"b, \"c\""_s, u"d"_s}));
    EXPECT_EQ(records[1], (QStringList{u"e"_s, u"zwei\nZeilen"_s}));
    EXPECT_EQ(records[2], QStringList{u"f"_s});
    EXPECT_EQ(records[3], (QStringList{u"g"_s, QString(), QString()}));
    // A quote in the middle of a field toggles quoting there too.
    EXPECT_EQ(RecoveryCSVImporter::parseRecords(u"ab\"c,d\"e,f"_s).first(), (QStringList{u"abc,de"_s, u"f"_s}));
    // An unterminated quote takes the rest of the text into the field instead of hanging.
    EXPECT_EQ(RecoveryCSVImporter::parseRecords(u"\"offen,\n"_s).first(), QStringList{u"offen,\n"_s});
    EXPECT_TRUE(RecoveryCSVImporter::parseRecords(u"\r\n\n\r"_s).isEmpty());
}

TEST(RecoveryCsvImport, headerInAnyCaseAndOrderWithoutRelativePathColumn)
{
    const auto rows = RecoveryCSVImporter::parse("NACHWEIS,datei,Extra,Entscheidung,FORMAT,KopierStatus\r\n"
                                                 "/Ziel/a.jpg,\"IMG, \"\"1\"\".JPG\",x,Behalten,jpg,kopiert\r\n"
                                                 ",IMG_2.CR3,y,Vielleicht,RAW,\r\n");
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[0], (RecoveryCSVRow{u"IMG, \"1\".JPG"_s, PhotoFormatGroup::jpeg, PhotoDecision::keep, u"kopiert"_s,
                                       u"/Ziel/a.jpg"_s, std::nullopt}));
    EXPECT_EQ(rows[1].format, PhotoFormatGroup::raw);
    EXPECT_EQ(rows[1].decision, PhotoDecision::maybe);
    EXPECT_FALSE(rows[1].relativePath.has_value());
}

TEST(RecoveryCsvImport, firstColumnOfANameWinsAndRelativePathIsReadWherePresent)
{
    const auto rows = RecoveryCSVImporter::parse("\xEF\xBB\xBF" "Datei,Format,Entscheidung,Kopierstatus,Nachweis,Relativer Pfad,Datei\n"
                                                 "a.jpg,DNG,aussortiert (Papierkorb),,,Tag 1/a.jpg,b.jpg\n");
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0].filename, u"a.jpg"_s);
    EXPECT_EQ(rows[0].format, PhotoFormatGroup::jpeg);
    EXPECT_EQ(rows[0].decision, PhotoDecision::del);
    EXPECT_EQ(rows[0].relativePath, u"Tag 1/a.jpg"_s);
}

TEST(RecoveryCsvImport, decisionWordsAreMatchedInTheirOrder)
{
    using RecoveryCSVImporter::decisionFromText;
    EXPECT_EQ(decisionFromText(u"Aussortiert"_s), PhotoDecision::del);
    EXPECT_EQ(decisionFromText(u"AUSSORTIEREN"_s), PhotoDecision::del);
    EXPECT_EQ(decisionFromText(u"aussortiert (Papierkorb)"_s), PhotoDecision::del);
    EXPECT_EQ(decisionFromText(u"Prüfen"_s), PhotoDecision::maybe);
    EXPECT_EQ(decisionFromText(u"Pru\u0308fen"_s), PhotoDecision::maybe); // decomposed umlaut
    EXPECT_EQ(decisionFromText(u"vielleicht behalten"_s), PhotoDecision::maybe);
    EXPECT_EQ(decisionFromText(u"behalten, nicht aussortieren"_s), PhotoDecision::del);
    EXPECT_EQ(decisionFromText(u"Behalten"_s), PhotoDecision::keep);
    EXPECT_FALSE(decisionFromText(u"Löschen"_s).has_value());
}

TEST(RecoveryCsvImport, everyFailureHasItsExactTextAndImportsNothing)
{
    const QByteArray header = "Datei,Format,Entscheidung,Kopierstatus,Nachweis\n";
    EXPECT_EQ(failureText(header + "a.jpg,jpeg,Löschen,,\n"),
              u"Die CSV-Datei konnte nicht importiert werden: Unbekannte Entscheidung: Löschen"_s);
    EXPECT_EQ(failureText(header + "a.jpg,jpeg,Behalten,\n"),
              u"Die CSV-Datei konnte nicht importiert werden: Eine Zeile enthält zu wenige Spalten."_s);
    EXPECT_EQ(failureText(header + "a.jpg,jpeg,Behalten,,\nb\xff.jpg,jpeg,Behalten,,\n"),
              u"Die CSV-Datei konnte nicht importiert werden: Die Datei ist nicht UTF-8-codiert."_s);
    EXPECT_EQ(failureText("Datei,Format,Entscheidung,Kopierstatus\na,b,Behalten,d\n"),
              u"Die CSV-Datei enthält nicht die erwarteten Spalten."_s);
    EXPECT_EQ(failureText(""), u"Die CSV-Datei enthält nicht die erwarteten Spalten."_s);
    // One bad row anywhere fails the lot.
    EXPECT_EQ(failureText(header + "a.jpg,jpeg,Behalten,,\nb.jpg,jpeg,weg,,\n"),
              u"Die CSV-Datei konnte nicht importiert werden: Unbekannte Entscheidung: weg"_s);
    EXPECT_TRUE(failureText(header).isEmpty());
    EXPECT_TRUE(failureText(header + "a.jpg,jpeg,Behalten,,\n\n").isEmpty());
}

TEST(RecoveryCsvExport, exportImportsBackToTheSameDecisions)
{
    SortSession session = makeSession(6);
    session.photos[0].decision = PhotoDecision::keep;
    session.photos[1].decision = PhotoDecision::del;
    session.photos[2].decision = PhotoDecision::maybe;
    session.photos[3].sourceURL = FileUrl::fromLocalPath(u"/Fotos/Reise/Strand, \"Abend\"\n2.JPG"_s);
    session.photos[3].relativePath = u" Strand, \"Abend\"\n2.JPG"_s;
    session.photos[3].decision = PhotoDecision::keep;
    // photos[4] and [5] stay undecided and are left out.
    const QString copied = session.photos[0].sourceURL.path();
    const QString failed = session.photos[1].sourceURL.path();
    session.executionRecords.insert(copied, {copied, u"/Ziel/Behalten/IMG.JPG"_s, ExecutionActionStatus::completed, 5, std::nullopt});
    session.executionRecords.insert(failed, {failed, u"/Ziel/x"_s, ExecutionActionStatus::failed, 0, u"Datenträger voll"_s});

    const QByteArray csv = exportDecisionsCsv(session);
    EXPECT_TRUE(csv.startsWith("Datei,Format,Entscheidung,Kopierstatus,Nachweis,Relativer Pfad\r\n"));
    const auto rows = RecoveryCSVImporter::parse(csv);
    ASSERT_EQ(rows.size(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(rows[i].filename, session.photos[i].sourceURL.fileName());
        EXPECT_EQ(rows[i].decision, *session.photos[i].decision);
        EXPECT_EQ(rows[i].format, session.photos[i].formatGroup);
        EXPECT_EQ(rows[i].relativePath, session.photos[i].relativePath);
    }
    EXPECT_EQ(rows[0].evidence, u"/Ziel/Behalten/IMG.JPG"_s);
    EXPECT_TRUE(rows[1].evidence.isEmpty());
    EXPECT_TRUE(rows[1].copyStatus.startsWith(u"fehlgeschlagen"_s));
    EXPECT_EQ(rows[2].copyStatus, u"nicht ausgeführt"_s);
}
