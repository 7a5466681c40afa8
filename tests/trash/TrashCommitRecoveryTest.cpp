// The commit against what a crash, a power cut or a misbehaving Trash leaves behind: a move
// announced but never confirmed is settled from the disk, and each of the three trash services
// failing in its own way holds one file for review without stopping the files after it for good.

#include "Reservations.h"
#include "TrashTestSupport.h"

#include "platform/DurableFile.h"
#include "trash/DurableTrashJournal.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashLookup.h"
#include "trash/TrashTransactionCoordinator.h"
#include "trash/TrashTransactionError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

using namespace kestrava;
using namespace kestrava::test;
using Kind = TrashTransactionError::Kind;
using State = TrashTransactionState;
namespace Coordinator = TrashTransactionCoordinator;

namespace {

// Moves with the real Trash, except for the files it is told to fail on.
class FailingMove : public TrashService {
public:
    TrashReceipt trash(const FileUrl& url) const override
    {
        if (url.fileName() == failOn)
            throw TrashTransactionError(Kind::unsupportedVolume, QStringLiteral("Karte"));
        return real.trash(url);
    }
    QString failOn;
    FreedesktopTrashService real;
};

// Validates with the real Trash, except that it rejects the receipt of one file.
class DoubtingReceipts : public FreedesktopTrashReceipts {
public:
    void validate(const TrashReceipt& receipt, const QString& expectedSHA256) const override
    {
        if (receipt.sourceURL.fileName() == doubt)
            throw TrashTransactionError(Kind::receiptInvalid, receipt.sourceURL.fileName());
        FreedesktopTrashReceipts::validate(receipt, expectedSHA256);
    }
    QString doubt;
};

class RefusingVolume : public TrashCapabilityChecking {
public:
    void check(const FileUrl&) const override { throw TrashTransactionError(Kind::unsupportedVolume, QStringLiteral("Karte")); }
};

class TrashCommitRecoveryTest : public TrashTransactionTest {
protected:
    // What a run killed right after announcing the move of `entry` leaves in the journal.
    void announceMove(const TrashEntry& entry)
    {
        DurableTrashJournal journal(box.journalBase(), session);
        journal.append(State::trashIntent, entry, session);
    }
};

} // namespace

TEST_F(TrashCommitRecoveryTest, unconfirmedMoveIsSettledFromTheDiskAndNeverRepeated)
{
    const QString moved = box.addOriginal(QStringLiteral("moved.jpg"), "moved");
    const QString untouched = box.addOriginal(QStringLiteral("untouched.jpg"), "untouched");
    const QString vanished = box.addOriginal(QStringLiteral("vanished.jpg"), "vanished");
    const QString swapped = box.addOriginal(QStringLiteral("swapped.jpg"), "swapped");
    const TrashPreparation prepared = prepare({moved, untouched, vanished, swapped});
    for (const TrashEntry& entry : prepared.entries)
        announceMove(entry);
    // moved: the rename happened, its confirmation never reached the journal.
    service.trash(FileUrl::fromLocalPath(moved));
    // untouched: killed between the info file and the rename; only the info file exists.
    box.tree.write(QDir(box.tree.root()).relativeFilePath(box.homeTrash() + QLatin1String("/info/untouched.jpg.trashinfo")),
                   "[Trash Info]\nPath=" + QFile::encodeName(untouched) + "\nDeletionDate=2026-01-01T00:00:00\n");
    // vanished: gone from its folder and not in the Trash; swapped: in the Trash, other bytes.
    const QString elsewhere = box.tree.path(QStringLiteral("elsewhere.jpg"));
    ASSERT_TRUE(QFile::rename(vanished, elsewhere));
    const TrashReceipt swappedReceipt = service.trash(FileUrl::fromLocalPath(swapped));
    QFile::remove(swappedReceipt.resultingURL.path());
    box.tree.write(QDir(box.tree.root()).relativeFilePath(swappedReceipt.resultingURL.path()), "other");

    const TrashPreparation committed = commit(prepared);
    EXPECT_EQ(committed.entries[0].state, State::stageCleaned);
    ASSERT_TRUE(committed.entries[0].receipt);
    EXPECT_EQ(committed.entries[0].receipt->resultingURL.fileName(), QStringLiteral("moved.jpg"));
    EXPECT_EQ(committed.entries[1].state, State::stageCleaned);
    for (int uncertain : {2, 3}) {
        EXPECT_EQ(committed.entries[uncertain].state, State::needsReview);
        ASSERT_TRUE(committed.entries[uncertain].message);
        EXPECT_TRUE(committed.entries[uncertain].message->contains(QStringLiteral("Sicherheitskopie")));
        EXPECT_TRUE(QFile::exists(committed.entries[uncertain].stagingURL.path())) << "its copy is all that is sure";
    }
    EXPECT_EQ(readFile(elsewhere), QByteArray("vanished"));
    QStringList expected{QStringLiteral("moved.jpg"), QStringLiteral("swapped.jpg"), QStringLiteral("untouched.jpg")};
    EXPECT_EQ(trashed(), expected) << "each original once: the settled move was not repeated";
    for (QString& name : expected)
        name += QLatin1String(".trashinfo");
    EXPECT_EQ(trashInfos(), expected) << "the stray info file of the move that never happened is gone";

    // Held for review stays so, and the next commit has nothing to move.
    const TrashPreparation again = commit(committed);
    EXPECT_EQ(again.needsReviewCount(), 2);
    EXPECT_EQ(trashed().size(), 3);
}

TEST_F(TrashCommitRecoveryTest, failingTrashServicesHoldOneFileAndLetTheNextCommitFinishTheRest)
{
    const QString a = box.addOriginal(QStringLiteral("a.jpg"), "a");
    const QString b = box.addOriginal(QStringLiteral("b.jpg"), "b");
    const QString c = box.addOriginal(QStringLiteral("c.jpg"), "c");

    // A refused volume refuses the preparation before anything is copied.
    try {
        Coordinator::prepare(session, TrashSandbox::singleGroups({a}), FileUrl::fromLocalPath(box.resultRoot()),
                             box.journalBase(), RefusingVolume());
        ADD_FAILURE() << "a refused volume was accepted";
    } catch (const TrashTransactionError& error) {
        EXPECT_EQ(error.kind(), Kind::unsupportedVolume);
    }
    EXPECT_TRUE(QDir(box.resultRoot()).entryList(QDir::Files).isEmpty());

    const TrashPreparation prepared = prepare({a, b, c});
    FailingMove failing;
    failing.failOn = QStringLiteral("a.jpg");
    DoubtingReceipts doubting;
    doubting.doubt = QStringLiteral("b.jpg");
    try {
        Coordinator::commit(prepared, box.journalBase(), failing, doubting);
        ADD_FAILURE() << "a failed move went unnoticed";
    } catch (const TrashTransactionError& error) {
        EXPECT_EQ(error.kind(), Kind::transactionNeedsReview);
        EXPECT_EQ(error.text(), QStringLiteral("a.jpg"));
    }
    EXPECT_EQ(readFile(a), QByteArray("a"));
    try {
        Coordinator::commit(prepared, box.journalBase(), failing, doubting);
        ADD_FAILURE() << "an invalid receipt went unnoticed";
    } catch (const TrashTransactionError& error) {
        EXPECT_EQ(error.kind(), Kind::receiptInvalid);
    }
    const TrashPreparation finished = Coordinator::commit(prepared, box.journalBase(), failing, doubting);
    EXPECT_EQ(finished.entries[0].state, State::needsReview);
    EXPECT_EQ(finished.entries[1].state, State::needsReview);
    EXPECT_EQ(finished.entries[2].state, State::stageCleaned);
    EXPECT_TRUE(QFile::exists(finished.entries[0].stagingURL.path()));
    EXPECT_TRUE(QFile::exists(finished.entries[1].stagingURL.path())) << "a copy stays while its move is unproven";
    EXPECT_EQ(trashed(), (QStringList{QStringLiteral("b.jpg"), QStringLiteral("c.jpg")}));
}

// The copy of a photo goes only when every file of its motif is in the Trash, even when a
// retry put the motif's files into different groups.
TEST_F(TrashCommitRecoveryTest, safetyCopyStaysUntilItsWholeMotifIsInTheTrash)
{
    const QString jpeg = box.addOriginal(QStringLiteral("IMG_7.JPG"), "jpeg");
    const QString raw = box.addOriginal(QStringLiteral("IMG_7.CR2"), "raw");
    const QString sidecar = box.addOriginal(QStringLiteral("IMG_7.xmp"), "xmp");
    const TrashPreparation prepared = prepare({raw, jpeg, sidecar});
    FailingMove failing;
    failing.failOn = QStringLiteral("IMG_7.xmp");
    EXPECT_THROW(Coordinator::commit(prepared, box.journalBase(), failing, receipts), TrashTransactionError);
    const TrashPreparation after = Coordinator::commit(prepared, box.journalBase(), failing, receipts);
    EXPECT_EQ(after.entries[0].state, State::trashedConfirmed);
    EXPECT_EQ(after.entries[1].state, State::trashedConfirmed);
    for (const TrashEntry& entry : after.entries)
        EXPECT_TRUE(QFile::exists(entry.stagingURL.path())) << entry.sourceURL.fileName().toStdString();
}

// What the user reads when the disk refuses: German reasons, and the original's name rather
// than the safety folder's inner paths.
TEST_F(TrashCommitRecoveryTest, failuresAreToldInGermanAndNameTheOriginal)
{
    const QString a = box.addOriginal(QStringLiteral("IMG_0042.CR2"), QByteArray(5000, 'r'));
    FaultInjectingFileOps fullDisk;
    fullDisk.failAt(FileOps::Op::write, 4, ENOSPC); // 1: lock, 2: planned, 3: stagingIntent, 4: the copy
    TrashTransactionOptions options;
    options.fileOps = &fullDisk;
    try {
        prepare({a}, options);
        ADD_FAILURE() << "a full disk went unnoticed";
    } catch (const KestravaError& error) {
        const QString message = error.description();
        EXPECT_TRUE(message.contains(QStringLiteral("„IMG_0042.CR2“"))) << message.toStdString();
        EXPECT_FALSE(message.contains(QStringLiteral("Sicherheitsablage"))) << message.toStdString();
        EXPECT_FALSE(message.contains(QStringLiteral(".partial"))) << message.toStdString();
    }

    FaultInjectingFileOps refusing;
    refusing.failAt(FileOps::Op::fsync, 2, EPERM); // 1: the lock file, 2: the first journal record
    options.fileOps = &refusing;
    try {
        Coordinator::prepare(QUuid::createUuid(), TrashSandbox::singleGroups({a}), FileUrl::fromLocalPath(box.resultRoot()),
                             box.journalBase(), FreedesktopTrashCapabilityChecker(), {}, options);
        ADD_FAILURE() << "a journal that cannot be opened went unnoticed";
    } catch (const TrashTransactionError& error) {
        EXPECT_EQ(error.kind(), Kind::journalUnavailable);
        EXPECT_FALSE(error.description().contains(QStringLiteral("not permitted"))) << error.description().toStdString();
        EXPECT_TRUE(error.description().contains(QStringLiteral("nicht erlaubt"))) << error.description().toStdString();
    }
    EXPECT_EQ(readFile(a), QByteArray(5000, 'r'));
}

// A pair refused once for its JPEG's second hard link and planned again after the link is gone
// (with a new group ID, as every plan has) stays one group, under one folder of the safety folder.
TEST_F(TrashCommitRecoveryTest, retriedMotifKeepsItsJournaledGroup)
{
    const QString jpeg = box.addOriginal(QStringLiteral("IMG_9.JPG"), "jpeg");
    const QString raw = box.addOriginal(QStringLiteral("IMG_9.CR2"), "raw");
    const QString link = box.tree.path(QStringLiteral("link.JPG"));
    ASSERT_EQ(::link(QFile::encodeName(jpeg).constData(), QFile::encodeName(link).constData()), 0);
    const auto plan = [&] {
        return prepare(QList<TrashGroup>{TrashSandbox::oneGroup({raw, jpeg})});
    };
    const TrashPreparation refused = plan();
    ASSERT_EQ(refused.entries.size(), 1);
    EXPECT_EQ(refused.entries[0].state, State::failed);
    ASSERT_EQ(::unlink(QFile::encodeName(link).constData()), 0);
    const TrashPreparation prepared = plan();
    ASSERT_EQ(prepared.entries.size(), 2);
    EXPECT_EQ(prepared.entries[0].groupID, prepared.entries[1].groupID);
    EXPECT_EQ(prepared.entries[0].stagingURL.parent().parent(), prepared.entries[1].stagingURL.parent().parent());
}

// One file that may not go (a second hard link) refuses its own group only: it is journaled
// with its reason and listed, the other groups are staged and committed, and once the link is
// gone a later run takes the refused group in.
TEST_F(TrashCommitRecoveryTest, refusedGroupStaysBehindWhileTheOthersGo)
{
    const QString first = box.addOriginal(QStringLiteral("a.jpg"), "a");
    const QString linked = box.addOriginal(QStringLiteral("b.jpg"), "b");
    const QString third = box.addOriginal(QStringLiteral("c.jpg"), "c");
    const QString link = box.tree.path(QStringLiteral("b-link.jpg"));
    ASSERT_EQ(::link(QFile::encodeName(linked).constData(), QFile::encodeName(link).constData()), 0);

    const TrashPreparation prepared = prepare({first, linked, third});
    ASSERT_EQ(prepared.entries.size(), 3);
    EXPECT_EQ(prepared.entries[0].state, State::stagedVerified);
    EXPECT_EQ(prepared.entries[1].state, State::failed);
    ASSERT_TRUE(prepared.entries[1].message);
    EXPECT_EQ(*prepared.entries[1].message, TrashTransactionError(Kind::multipleHardLinks, QStringLiteral("b.jpg")).description());
    EXPECT_EQ(prepared.entries[2].state, State::stagedVerified);

    const TrashPreparation committed = commit(prepared);
    EXPECT_EQ(trashed(), (QStringList{QStringLiteral("a.jpg"), QStringLiteral("c.jpg")}));
    EXPECT_EQ(readFile(linked), QByteArray("b"));
    EXPECT_EQ(committed.entries[1].state, State::failed);

    ASSERT_EQ(::unlink(QFile::encodeName(link).constData()), 0);
    const TrashPreparation retried = prepare({linked});
    ASSERT_EQ(retried.entries.size(), 1);
    EXPECT_EQ(retried.entries[0].id, prepared.entries[1].id) << "the refused file keeps its journal entry";
    EXPECT_EQ(retried.entries[0].state, State::stagedVerified);
    commit(retried);
    EXPECT_EQ(trashed().size(), 3);
}

// On FAT and exFAT a staging run killed between reserving the safety copy's name and renaming
// the copy onto it leaves a marked empty reservation there: the next run stages the copy under
// that name instead of refusing the file as a collision.
TEST_F(TrashCommitRecoveryTest, abandonedReservationOfASafetyCopyIsStagedOver)
{
    const QString photo = box.addOriginal(QStringLiteral("IMG_7.CR2"), "raw");
    const TrashPreparation first = prepare({photo});
    ASSERT_EQ(first.entries.size(), 1);
    const QString staging = first.entries[0].stagingURL.path();
    ASSERT_TRUE(QFile::remove(staging));
    leaveAbandonedReservation(staging);
    ASSERT_TRUE(isMarkedReservation(staging));
    {
        DurableTrashJournal journal(box.journalBase(), session);
        journal.append(State::stagingIntent, first.entries[0], session);
    }

    const TrashPreparation retried = prepare({photo});
    ASSERT_EQ(retried.entries.size(), 1);
    EXPECT_EQ(retried.entries[0].state, State::stagedVerified);
    EXPECT_EQ(readFile(retried.entries[0].stagingURL.path()), "raw");
}
