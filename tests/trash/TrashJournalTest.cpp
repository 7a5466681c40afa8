#include "TrashTestSupport.h"

#include "trash/DurableTrashJournal.h"
#include "trash/TrashTransactionError.h"

#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
using Kind = TrashTransactionError::Kind;
using State = TrashTransactionState;

namespace {

class TrashJournalTest : public ::testing::Test {
protected:
    void writeSample()
    {
        const SampleJournal sample = writeSampleJournal(tree.root(), session);
        first = sample.first;
        second = sample.second;
    }

    QString path() const { return DurableTrashJournal::journalPath(tree.root(), session); }

    Kind openFailure()
    {
        try {
            DurableTrashJournal journal(tree.root(), session);
        } catch (const TrashTransactionError& error) {
            return error.kind();
        }
        return Kind::fileUnavailable; // stands for "no failure"
    }

    TempTree tree;
    QUuid session = QUuid::createUuid();
    TrashEntry first, second;
};

} // namespace

TEST_F(TrashJournalTest, freshJournalVerifiesAndReEncodesByteForByte)
{
    writeSample();
    EXPECT_TRUE(path().endsWith(session.toString(QUuid::WithoutBraces).toUpper() + QLatin1String("/trash-v1.jsonl")));
    const QByteArray bytes = readFile(path());
    const QList<TrashJournalRecord> records = DurableTrashJournal::verifyFile(path());
    ASSERT_EQ(records.size(), 7);
    QByteArray reencoded;
    for (const auto& record : records)
        reencoded += DurableTrashJournal::encodeRecord(record) + '\n';
    // Blank lines may keep a record within one page of the file; they are no records.
    QByteArray withoutBlankLines = bytes;
    while (withoutBlankLines.contains("\n\n"))
        withoutBlankLines.replace("\n\n", "\n");
    EXPECT_EQ(reencoded, withoutBlankLines.startsWith('\n') ? withoutBlankLines.mid(1) : withoutBlankLines);
    EXPECT_TRUE(bytes.startsWith("{\"payload\":{\"entry\":{"));
    EXPECT_EQ(records.first().previousHash, QString(64, QLatin1Char('0')));
    EXPECT_EQ(records[1].previousHash, records[0].recordHash);

    DurableTrashJournal reopened(tree.root(), session);
    const auto latest = reopened.latestEntries();
    ASSERT_EQ(latest.size(), 2);
    EXPECT_EQ(latest.value(first.id).state, State::deferred);
    EXPECT_EQ(latest.value(first.id).message, QStringLiteral("„zitiert“"));
    EXPECT_EQ(latest.value(second.id).state, State::stagedVerified);
    EXPECT_EQ(reopened.latestEntryList().first().id, first.id);
}

// A torn last write was never acknowledged: it neither counts nor blocks, and the next
// record is chained to the last whole one.
TEST_F(TrashJournalTest, tornLastLineIsIgnoredAndCutBeforeTheNextRecord)
{
    for (const int cut : {1, 40}) {
        session = QUuid::createUuid();
        writeSample();
        truncateFile(path(), QFileInfo(path()).size() - cut);
        EXPECT_EQ(DurableTrashJournal::verifyFile(path()).size(), 6);
        DurableTrashJournal journal(tree.root(), session);
        EXPECT_EQ(journal.records().size(), 6);
        journal.append(State::deferred, second, session);
        EXPECT_EQ(DurableTrashJournal::verifyFile(path()).size(), 7);
        EXPECT_EQ(DurableTrashJournal(tree.root(), session).latestEntries().value(second.id).state, State::deferred);
    }
}

TEST_F(TrashJournalTest, anyChangedCharacterBreaksTheChain)
{
    writeSample();
    QByteArray bytes = readFile(path());
    const qsizetype at = bytes.indexOf("stagingIntent");
    ASSERT_GT(at, 0);
    bytes.replace(at, 13, "stagedVerifie");
    writeFile(path(), bytes);
    EXPECT_EQ(openFailure(), Kind::journalCorrupt);

    session = QUuid::createUuid(); // a second journal, damaged in a hash instead
    writeSample();
    flipByte(path(), QFileInfo(path()).size() - 5);
    EXPECT_EQ(openFailure(), Kind::journalCorrupt);
    EXPECT_EQ(TrashTransactionError(Kind::journalCorrupt).description(),
              QStringLiteral("Das Sicherheitsjournal ist unvollständig oder beschädigt. Es wird nichts automatisch verändert."));
}

TEST_F(TrashJournalTest, removedOrSwappedLinesAreCorruptButBlankLinesAreNot)
{
    writeSample();
    const QByteArray original = readFile(path());
    QList<QByteArray> lines = original.split('\n');
    lines.removeLast();

    QList<QByteArray> withoutMiddle = lines;
    withoutMiddle.removeAt(3);
    writeFile(path(), withoutMiddle.join('\n') + '\n');
    EXPECT_EQ(openFailure(), Kind::journalCorrupt);

    writeFile(path(), original);
    swapLines(path(), 2, 3);
    EXPECT_EQ(openFailure(), Kind::journalCorrupt);

    QList<QByteArray> withoutLast = lines;
    withoutLast.removeLast(); // a missing tail is not detectable by the chain alone
    writeFile(path(), withoutLast.join('\n') + '\n');
    EXPECT_EQ(openFailure(), Kind::fileUnavailable);

    QList<QByteArray> spaced = lines;
    spaced.insert(2, QByteArray());
    spaced.insert(2, QByteArray());
    writeFile(path(), spaced.join('\n') + '\n');
    EXPECT_EQ(openFailure(), Kind::fileUnavailable);
    DurableTrashJournal journal(tree.root(), session);
    EXPECT_EQ(journal.records().size(), 7);
}

TEST_F(TrashJournalTest, editBehindTheObjectsBackIsNoticedAtTheNextAppend)
{
    DurableTrashJournal journal(tree.root(), session);
    first = journalEntryNamed(QStringLiteral("a.jpg"));
    journal.append(State::planned, first, session);
    journal.append(State::stagingIntent, first, session);
    const QByteArray before = readFile(path());

    QByteArray edited = before;
    edited.replace("stagingIntent", "stagedVerified");
    usleep(10000);
    writeFile(path(), edited);
    EXPECT_THROW(journal.append(State::stagedVerified, first, session), TrashTransactionError);
    EXPECT_EQ(readFile(path()), edited) << "a corrupt journal is never appended to or repaired";
    EXPECT_THROW(journal.latestEntries(), TrashTransactionError);
}

TEST_F(TrashJournalTest, failedWriteOrFlushReportsUnavailableAndLeavesNoRecordBehindSilently)
{
    FaultInjectingFileOps ops;
    DurableTrashJournal journal(tree.root(), session, ops);
    first = journalEntryNamed(QStringLiteral("a.jpg"));
    journal.append(State::planned, first, session);

    ops.failAt(FileOps::Op::write, 1, ENOSPC);
    try {
        journal.append(State::stagingIntent, first, session);
        FAIL() << "write failure must surface";
    } catch (const TrashTransactionError& error) {
        EXPECT_EQ(error.kind(), Kind::journalUnavailable);
        EXPECT_TRUE(error.description().startsWith(QStringLiteral("Das Sicherheitsjournal ist nicht dauerhaft verfügbar: ")));
    }
    EXPECT_EQ(DurableTrashJournal::verifyFile(path()).size(), 1);

    ops.clearFaults();
    ops.failAt(FileOps::Op::fsync, 1, EIO);
    EXPECT_THROW(journal.append(State::stagingIntent, first, session), TrashTransactionError);
    ops.clearFaults();
    // The record whose flush failed may or may not be durable; the journal says which, and
    // the next append continues the verified chain either way.
    journal.append(State::stagedVerified, first, session);
    const auto records = DurableTrashJournal::verifyFile(path());
    EXPECT_EQ(records.size(), 3);
    EXPECT_EQ(records.last().payload.state, State::stagedVerified);
}

TEST_F(TrashJournalTest, symbolicLinkInPlaceOfTheJournalIsNeverFollowed)
{
    const QString victim = tree.write(QStringLiteral("victim.txt"), "keep");
    tree.mkdir(session.toString(QUuid::WithoutBraces).toUpper());
    ASSERT_EQ(::symlink(QFile::encodeName(victim).constData(), QFile::encodeName(path()).constData()), 0);
    EXPECT_EQ(openFailure(), Kind::journalUnavailable);
    EXPECT_EQ(readFile(victim), QByteArray("keep"));
}

TEST_F(TrashJournalTest, appendsReadTheFileAgainOnlyWhenSomeoneElseChangedIt)
{
    FaultInjectingFileOps ops;
    DurableTrashJournal journal(tree.root(), session, ops);
    first = journalEntryNamed(QStringLiteral("a.jpg"));
    const int readsAfterOpen = ops.callCount(FileOps::Op::read);
    for (int i = 0; i < 50; ++i)
        journal.append(State::planned, first, session);
    journal.latestEntries();
    EXPECT_EQ(ops.callCount(FileOps::Op::read), readsAfterOpen) << "an unchanged journal must not be read again";

    // A valid record appended by another writer still changes size and ctime: everything is verified again.
    {
        DurableTrashJournal other(tree.root(), session);
        other.append(State::stagingIntent, first, session);
    }
    journal.append(State::stagedVerified, first, session);
    EXPECT_GT(ops.callCount(FileOps::Op::read), readsAfterOpen);
    const auto records = DurableTrashJournal::verifyFile(path());
    ASSERT_EQ(records.size(), 52);
    EXPECT_EQ(records[50].payload.state, State::stagingIntent);
    EXPECT_EQ(records[51].payload.sequence, 52);
}
