#include "SessionTestData.h"
#include "TestSupport.h"
#include "session/RecoveryCsv.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

TEST(SessionCli, showPrintsTheMigratedSnapshotEncodingOrTheGermanError)
{
    TempTree tree;
    const QString legacy = tree.write(u"alt.kestrava"_s,
                                      R"({"createdAt":"2026-03-01T08:00:00Z","discardHandling":"moveToTrash",)"
                                      R"("id":"3F2504E0-4F89-11D3-9A0C-0305E82C3301","sourceFolder":"file:///Fotos",)"
                                      R"("updatedAt":"2026-03-01T09:00:00Z"})");
    const CliResult shown = runCli({u"session"_s, u"show"_s, legacy});
    ASSERT_EQ(shown.exitCode, 0) << shown.err.constData();
    const SortSession session = decodeSortSession(shown.out.trimmed());
    EXPECT_EQ(shown.out.trimmed(), encodeSortSession(session));
    EXPECT_TRUE(session.requiresModeSelection);

    const QString future = tree.write(u"neu.kestrava"_s, R"({"version":7})");
    const CliResult refused = runCli({u"session"_s, u"show"_s, future});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(QString::fromUtf8(refused.err.trimmed()), u"Die Sitzungsversion 7 wird nicht unterstützt."_s);
    const CliResult damaged = runCli({u"session"_s, u"show"_s, tree.write(u"kaputt.kestrava"_s, "{")});
    EXPECT_EQ(QString::fromUtf8(damaged.err.trimmed()), u"Die gespeicherte Sitzung ist beschädigt."_s);
    EXPECT_EQ(runCli({u"session"_s, u"show"_s}).exitCode, 2);
}

TEST(SessionCli, latestReplaysEventsAndPrintsNullWhenThereIsNone)
{
    TempTree tree;
    const QString folder = tree.path(u"Sessions"_s);
    EXPECT_EQ(runCli({u"session"_s, u"latest"_s, u"--store"_s, folder}).out, QByteArray("null\n"));

    SortSession session = makeSession(2);
    {
        SessionStore store(folder);
        await(store.saveSnapshot(session));
        await(store.append(SessionEventKind::decision, {session.photos[1].sourceURL.path()}, PhotoDecision::maybe,
                           std::nullopt, 1, 0, session.id));
    }
    const CliResult latest = runCli({u"session"_s, u"latest"_s, u"--store"_s, folder});
    ASSERT_EQ(latest.exitCode, 0);
    const SortSession loaded = decodeSortSession(latest.out.trimmed());
    EXPECT_EQ(loaded.photos[1].decision, PhotoDecision::maybe);
    EXPECT_EQ(loaded.lastEventSequence, 1);
}

TEST(SessionCli, csvPrintsRowsAsJson)
{
    TempTree tree;
    const QString file = tree.write(u"r.csv"_s, "Datei,Format,Entscheidung,Kopierstatus,Nachweis,Relativer Pfad\r\n"
                                                "a.CR3,raw,Aussortiert,kopiert,/Ziel/a.CR3,Tag 1/a.CR3\r\n");
    const CliResult result = runCli({u"csv"_s, file});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    EXPECT_EQ(result.out, QByteArray(R"([{"copyStatus":"kopiert","decision":"delete","evidence":"/Ziel/a.CR3",)"
                                     R"("filename":"a.CR3","format":"raw","relativePath":"Tag 1/a.CR3"}])" "\n"));
    const CliResult bad = runCli({u"csv"_s, tree.write(u"b.csv"_s, "Datei\nx\n")});
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_EQ(QString::fromUtf8(bad.err.trimmed()), u"Die CSV-Datei enthält nicht die erwarteten Spalten."_s);
}

TEST(SessionCli, exportCsvByIdOrFileAndNeverOverAnExistingFile)
{
    TempTree tree;
    const QString folder = tree.path(u"Sessions"_s);
    SortSession session = makeSession(3);
    session.photos[0].decision = PhotoDecision::keep;
    SessionStore store(folder);
    await(store.saveSnapshot(session));
    await(store.append(SessionEventKind::decision, {session.photos[2].sourceURL.path()}, PhotoDecision::del, std::nullopt, 2,
                       0, session.id));

    const CliResult byId = runCli({u"export-csv"_s, json::encodeUuid(session.id), u"--store"_s, folder});
    ASSERT_EQ(byId.exitCode, 0) << byId.err.constData();
    const auto rows = RecoveryCSVImporter::parse(byId.out);
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[1].decision, PhotoDecision::del);

    const QString out = tree.path(u"export.csv"_s);
    EXPECT_EQ(runCli({u"export-csv"_s, store.snapshotPath(session.id), u"--out"_s, out}).exitCode, 0);
    EXPECT_EQ(readFile(out), byId.out);
    writeFile(out, "vorher");
    const CliResult again = runCli({u"export-csv"_s, store.snapshotPath(session.id), u"--out"_s, out});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_FALSE(again.err.isEmpty());
    EXPECT_EQ(readFile(out), QByteArray("vorher"));
}
