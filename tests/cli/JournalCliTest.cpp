// kestrava-cli journal verify: the latest state of each entry of an intact journal, and a
// refusal that changes nothing for a damaged one.

#include "TestSupport.h"

#include "trash/DurableTrashJournal.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using State = TrashTransactionState;

namespace {

TrashEntry entryFor(const QString& name)
{
    TrashEntry entry;
    entry.id = QUuid::createUuid();
    entry.groupID = QUuid::createUuid();
    entry.sourceURL = FileUrl::fromLocalPath(QStringLiteral("/fotos/") + name);
    entry.stagingURL = FileUrl::fromLocalPath(QStringLiteral("/ergebnis/Sicherheitsablage/") + name);
    entry.sourceIdentity.path = entry.sourceURL.path();
    entry.sourceIdentity.size = 1234;
    entry.sourceIdentity.sha256 = QString(64, QLatin1Char('a'));
    return entry;
}

} // namespace

TEST(JournalCli, verifyPrintsLatestStatesAndRefusesADamagedJournal)
{
    TempTree tree;
    const QUuid session = QUuid::createUuid();
    {
        DurableTrashJournal journal(tree.root(), session);
        TrashEntry first = entryFor(QStringLiteral("Übersicht 1.jpg"));
        const TrashEntry second = entryFor(QStringLiteral("b%20.cr2"));
        journal.append(State::planned, first, session);
        journal.append(State::planned, second, session);
        journal.append(State::stagingIntent, first, session);
        first.message = QStringLiteral("„zitiert“");
        journal.append(State::stagedVerified, first, session);
        journal.append(State::stagingIntent, second, session);
        journal.append(State::stagedVerified, second, session);
        journal.append(State::deferred, first, session);
    }
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
