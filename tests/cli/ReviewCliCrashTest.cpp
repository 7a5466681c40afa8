// kestrava-cli review end to end, and killed with SIGKILL at random moments: whatever it
// acknowledged before dying is in the session afterwards.

#include "KillLoop.h"
#include "model/FileUrl.h"
#include "model/Json.h"
#include "session/SessionStore.h"

#include <QRandomGenerator>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

// `pairs` JPEG+RAW shots and `singles` lone JPEGs as tiny files: review never reads pixels.
QString writeEmptyShoot(TempTree& tree, int pairs, int singles)
{
    for (int i = 0; i < pairs; ++i) {
        const QString base = QStringLiteral("Fotos/IMG_%1").arg(i + 1, 4, 10, QLatin1Char('0'));
        tree.write(base + QStringLiteral(".JPG"));
        tree.write(base + QStringLiteral(".NEF"));
    }
    for (int i = 0; i < singles; ++i)
        tree.write(QStringLiteral("Fotos/SOLO_%1.JPG").arg(i + 1, 4, 10, QLatin1Char('0')));
    tree.mkdir(QStringLiteral("Ziel"));
    return tree.path(QStringLiteral("Fotos"));
}

// What `kestrava-cli session latest` finds in the store afterwards, as a user would ask.
std::optional<SortSession> latestSession(const QString& storeFolder)
{
    const CliResult result = runCli({QStringLiteral("session"), QStringLiteral("latest"), QStringLiteral("--store"), storeFolder});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QByteArray document = result.out.trimmed();
    if (result.exitCode != 0 || document == "null")
        return std::nullopt;
    return decodeSortSession(document);
}

} // namespace

TEST(ReviewCli, decidesEveryGroupFromAListAndStopsAtConfirmation)
{
    TempTree tree;
    const QString folder = writeEmptyShoot(tree, 2, 2);
    const QString csv = tree.write(QStringLiteral("liste.csv"),
                                   "Datei,Format,Entscheidung,Kopierstatus,Nachweis\n"
                                   "IMG_0001.NEF,RAW,Aussortiert,,\nIMG_0002.JPG,JPEG,Vielleicht,,\n"
                                   "SOLO_0001.JPG,JPEG,Behalten,,\nsolo_0002.jpg,JPEG,Prüfen,,\n");
    const CliResult result = runCli({QStringLiteral("review"), folder, QStringLiteral("--dest"), tree.path(QStringLiteral("Ziel")),
                                     QStringLiteral("--mode"), QStringLiteral("moveOriginals"), QStringLiteral("--name"),
                                     QStringLiteral("Lauf"), QStringLiteral("--store"), tree.path(QStringLiteral("S")),
                                     QStringLiteral("--decisions"), csv});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject output = json::parseObject(result.out.trimmed());
    EXPECT_EQ(output.value(QLatin1String("route")).toString(), QStringLiteral("confirmation"));
    const QJsonObject counts = output.value(QLatin1String("counts")).toObject();
    EXPECT_EQ(counts.value(QLatin1String("keep")).toInt(), 1);
    EXPECT_EQ(counts.value(QLatin1String("maybe")).toInt(), 2);
    EXPECT_EQ(counts.value(QLatin1String("delete")).toInt(), 1);
    EXPECT_EQ(output.value(QLatin1String("destinationFolder")).toString(),
              FileUrl::fromLocalPath(tree.path(QStringLiteral("Ziel/Lauf"))).toUrlString());

    // The session is saved as ready for execution, so it is still offered for resuming.
    const auto session = latestSession(tree.path(QStringLiteral("S")));
    ASSERT_TRUE(session);
    EXPECT_EQ(json::encodeUuid(session->id), output.value(QLatin1String("sessionID")).toString());
    EXPECT_EQ(session->status, SortSessionStatus::ready);
    EXPECT_EQ(session->operationMode, SortOperationMode::moveOriginals);
}

TEST(ReviewCli, refusesListsThatLeaveAGroupOpenAndBadArguments)
{
    TempTree tree;
    const QString folder = writeEmptyShoot(tree, 1, 1);
    const QString csv = tree.write(QStringLiteral("liste.csv"),
                                   "Datei,Format,Entscheidung,Kopierstatus,Nachweis\nIMG_0001.JPG,JPEG,Behalten,,\n");
    const QStringList base{QStringLiteral("review"), folder, QStringLiteral("--dest"), tree.path(QStringLiteral("Ziel")),
                           QStringLiteral("--mode"), QStringLiteral("safeCopy"), QStringLiteral("--store"),
                           tree.path(QStringLiteral("S"))};
    const CliResult open = runCli(base + QStringList{QStringLiteral("--decisions"), csv});
    EXPECT_EQ(open.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(open.err).contains(QStringLiteral("„SOLO_0001.JPG“"))) << open.err.toStdString();
    EXPECT_EQ(runCli(base).exitCode, 2);
    EXPECT_EQ(runCli(base + QStringList{QStringLiteral("--all"), QStringLiteral("later")}).exitCode, 2);
}

TEST(ReviewCli, killedAtRandomMomentsKeepsEveryAcknowledgedDecision)
{
    TempTree tree;
    const QString folder = writeEmptyShoot(tree, 200, 100);
    QRandomGenerator random(QRandomGenerator::global()->generate());
    for (int trial = 0; trial < 4; ++trial) {
        const QString store = tree.path(QStringLiteral("S%1").arg(trial));
        const int killAfter = int(random.bounded(1, 280));
        QByteArray acknowledged = runKilledAfter(
            cliPath(),
            {QStringLiteral("review"), folder, QStringLiteral("--dest"), tree.path(QStringLiteral("Ziel")), QStringLiteral("--mode"),
             QStringLiteral("safeCopy"), QStringLiteral("--store"), store, QStringLiteral("--all"), QStringLiteral("delete")},
            QProcessEnvironment::systemEnvironment(), {QProcess::StandardError, killAfter, {}}).output;
        // Only whole lines count: a line still being written at the kill acknowledged nothing.
        acknowledged.truncate(acknowledged.lastIndexOf('\n') + 1);
        QStringList groups;
        for (const QByteArray& line : acknowledged.split('\n'))
            if (line.startsWith("entschieden "))
                groups.append(QString::fromUtf8(line.split(' ').value(2)));
        ASSERT_GE(groups.size(), std::min(killAfter, 300)) << acknowledged.toStdString();

        const auto session = latestSession(store);
        ASSERT_TRUE(session) << "trial " << trial;
        QHash<QString, std::optional<PhotoDecision>> decisions;
        for (const PhotoItem& item : session->photos)
            decisions.insert(item.sourceURL.path(), item.decision);
        for (const QString& group : groups)
            for (const QString& path : group.split(QLatin1Char('|')))
                EXPECT_EQ(decisions.value(path), PhotoDecision::del) << "trial " << trial << ": " << path.toStdString();
    }
}
