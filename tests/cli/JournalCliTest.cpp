// kestrava-cli journal verify: the latest state of each entry of an intact journal, and a
// refusal that changes nothing for a damaged one.

#include "TrashTestSupport.h"

#include "trash/DurableTrashJournal.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

TEST(JournalCli, verifyPrintsLatestStatesAndRefusesADamagedJournal)
{
    TempTree tree;
    const QUuid session = QUuid::createUuid();
    writeSampleJournal(tree.root(), session);
    const QString path = DurableTrashJournal::journalPath(tree.root(), session);
    const CliResult ok = runCli({QStringLiteral("journal"), QStringLiteral("verify"), QFileInfo(path).path()});
    ASSERT_EQ(ok.exitCode, 0) << ok.err.toStdString();
    const QJsonObject result = QJsonDocument::fromJson(ok.out).object();
    EXPECT_EQ(result.value(QLatin1String("recordCount")).toInteger(), 7);
    const QJsonArray entries = result.value(QLatin1String("entries")).toArray();
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries[0].toObject().value(QLatin1String("state")).toString(), QStringLiteral("deferred"));
    EXPECT_EQ(entries[1].toObject().value(QLatin1String("state")).toString(), QStringLiteral("stagedVerified"));

    const QByteArray before = readFile(path);
    swapLines(path, 0, 1);
    const QByteArray damaged = readFile(path);
    const CliResult refused = runCli({QStringLiteral("journal"), QStringLiteral("verify"), path});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(QString::fromUtf8(refused.err).trimmed(),
              QStringLiteral("Das Sicherheitsjournal ist unvollständig oder beschädigt. Es wird nichts automatisch verändert."));
    EXPECT_EQ(readFile(path), damaged) << "inspection never changes a journal";
    EXPECT_NE(before, damaged);
}
