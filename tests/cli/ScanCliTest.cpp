// kestrava-cli scan / groups / generate: output coding, awkward names, exit codes.

#include "PosixHelpers.h"
#include "TestSupport.h"
#include "model/PhotoModelJson.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QJsonArray parseArray(const QByteArray& out)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(out, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << out.toStdString();
    EXPECT_TRUE(document.isArray());
    return document.array();
}

QStringList groupIds(const QJsonArray& groups)
{
    QStringList ids;
    for (const QJsonValue& value : groups)
        ids.append(reviewGroupFromJson(value.toObject()).id);
    return ids;
}

} // namespace

// The scan prints its items coded as the session document codes them, and awkward names come
// back exactly (code unit for code unit: NFD stays NFD).
TEST(ScanCli, printsItemsCodedAsInTheSessionDocumentWithAwkwardNamesIntact)
{
    TempTree tree;
    const QString longName = QString(251, QLatin1Char('x')) + QStringLiteral(".jpg"); // 255 bytes
    const QStringList names{
        QStringLiteral("Tag 1/IMG_2.JPG"),
        QStringLiteral("Tag 1/IMG_2.CR3"),
        QStringLiteral("mit Leerzeichen/IMG 1.JPG"),
        QStringLiteral("Zeilen\numbruch.jpg"),
        QStringLiteral("Mu\u0308ller a\u0300 la carte.jpg"), // decomposed accents
        QStringLiteral("Prozent %20 und #Raute?.NEF"),
        QStringLiteral("Anführungs\"zeichen\\.jpg"),
        longName,
    };
    for (const QString& name : names)
        tree.write(name, name.toUtf8());
    ASSERT_EQ(QFile::encodeName(longName).size(), 255);

    const CliResult result = runCli({"scan", tree.root()});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QList<PhotoItem> expected = PhotoInventoryScanner::scan(FileUrl::fromLocalPath(tree.root()));
    EXPECT_EQ(result.out.trimmed(), json::toCompactJson(toJson(expected)));
    const QList<PhotoItem> items = photoItemsFromJson(parseArray(result.out));
    EXPECT_EQ(items, expected);
    QStringList found;
    for (const PhotoItem& item : items) {
        found.append(item.relativePath);
        EXPECT_TRUE(QFileInfo::exists(item.sourceURL.path())) << item.sourceURL.path().toStdString();
    }
    QStringList wanted = names;
    found.sort();
    wanted.sort();
    EXPECT_EQ(found, wanted);
}

TEST(ScanCli, undecodableNameIsReportedButDoesNotFailTheScan)
{
    TempTree tree;
    tree.write("ok.jpg");
    const QByteArray undecodable = QFile::encodeName(tree.root()) + "/kaputt\xff.jpg";
    ASSERT_TRUE(createRawNamedFile(undecodable));
    const RawNameCleanup cleanup({undecodable});
    const CliResult result = runCli({"scan", tree.root()});
    ASSERT_EQ(result.exitCode, 0);
    EXPECT_EQ(parseArray(result.out).size(), 1);
    EXPECT_TRUE(result.err.contains("nicht Teil dieser Sortierung")) << result.err.toStdString();
}

TEST(ScanCli, failuresAndUsageErrorsHaveTheirExitCodes)
{
    TempTree tree;
    const CliResult missing = runCli({"scan", tree.path("fehlt")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(QString::fromUtf8(missing.err).trimmed(), QStringLiteral("Der ausgewählte Ordner konnte nicht gelesen werden."));
    EXPECT_TRUE(missing.out.isEmpty());
    EXPECT_EQ(runCli({"groups", tree.write("datei.jpg")}).exitCode, 1);

    EXPECT_EQ(runCli({"scan"}).exitCode, 2);
    EXPECT_EQ(runCli({"scan", tree.root(), tree.root()}).exitCode, 2);
    EXPECT_EQ(runCli({"scan", tree.root(), "--tiefe"}).exitCode, 2);
    EXPECT_EQ(runCli({"groups", tree.root(), "--choice", "tiff"}).exitCode, 2);
    EXPECT_EQ(runCli({"groups", tree.root(), "--choice"}).exitCode, 2);
    EXPECT_EQ(runCli({"generate", tree.path("neu")}).exitCode, 2);
    EXPECT_EQ(runCli({"generate", tree.path("neu"), "--shots", "drei"}).exitCode, 2);
    EXPECT_EQ(runCli({"generate", tree.path("neu"), "--shots", "3", "--raw-ratio", "1.5"}).exitCode, 2);
    EXPECT_EQ(runCli({"generate", tree.path("neu"), "--shots", "3", "--size", "gross"}).exitCode, 2);
    EXPECT_FALSE(QFileInfo::exists(tree.path("neu")));
    tree.write("voll/vorhanden.jpg", "meins");
    EXPECT_EQ(runCli({"generate", tree.path("voll"), "--shots", "2"}).exitCode, 1);
    EXPECT_EQ(readFile(tree.path("voll/vorhanden.jpg")), "meins");
}

TEST(ScanCli, groupsPairOnlyWhenBothFormatsAreReviewed)
{
    TempTree tree;
    const QString jpeg = tree.write("A/x.jpg");
    const QString raw = tree.write("A/x.NEF");
    const QString other = tree.write("B/y.jpg");
    const QString pairId = jpeg < raw ? jpeg + "|" + raw : raw + "|" + jpeg;

    const CliResult preselected = runCli({"groups", tree.root()});
    ASSERT_EQ(preselected.exitCode, 0) << preselected.err.toStdString();
    const QJsonArray groups = parseArray(preselected.out);
    EXPECT_EQ(groupIds(groups), (QStringList{pairId, other}));
    const ReviewGroup pair = reviewGroupFromJson(groups.first().toObject());
    EXPECT_EQ(pair.memberURLs, (QList<FileUrl>{FileUrl::fromLocalPath(jpeg), FileUrl::fromLocalPath(raw)}));
    EXPECT_EQ(pair.previewURL, FileUrl::fromLocalPath(jpeg));

    EXPECT_EQ(groupIds(parseArray(runCli({"groups", tree.root(), "--choice", "jpeg"}).out)), (QStringList{jpeg, other}));
    EXPECT_EQ(groupIds(parseArray(runCli({"groups", tree.root(), "--choice", "raw"}).out)), QStringList{raw});
    EXPECT_EQ(groupIds(parseArray(runCli({"groups", tree.root(), "--choice", "both"}).out)), (QStringList{pairId, other}));

    // A folder of one format is reviewed as singles; an empty one has no groups.
    TempTree onlyRaw;
    const QString a = onlyRaw.write("IMG_1.CR3");
    const QString b = onlyRaw.write("IMG_1.cr2");
    EXPECT_EQ(groupIds(parseArray(runCli({"groups", onlyRaw.root()}).out)), (QStringList{b, a}));
    TempTree empty;
    const CliResult none = runCli({"groups", empty.root()});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_EQ(none.out.trimmed(), "[]");
}

TEST(ScanCli, generatedSummaryMatchesWhatScanAndGroupsFind)
{
    TempTree tree;
    const CliResult generated = runCli({"generate", tree.path("s"), "--shots", "12", "--raw-ratio", "1", "--seed", "5",
                                        "--size", "64x48"});
    ASSERT_EQ(generated.exitCode, 0) << generated.err.toStdString();
    const QJsonObject summary = QJsonDocument::fromJson(generated.out).object();
    EXPECT_EQ(summary.value("jpegFiles").toInt(), 12);
    EXPECT_EQ(summary.value("rawFiles").toInt(), 12);

    const CliResult scanned = runCli({"scan", tree.path("s")});
    ASSERT_EQ(scanned.exitCode, 0);
    EXPECT_EQ(parseArray(scanned.out).size(), summary.value("photoFiles").toInt());
    // With a RAW for every shot, every group is a pair.
    const QJsonArray groups = parseArray(runCli({"groups", tree.path("s")}).out);
    EXPECT_EQ(groups.size(), 12);
    for (const QJsonValue& group : groups)
        EXPECT_EQ(group.toObject().value("memberURLs").toArray().size(), 2);
}
