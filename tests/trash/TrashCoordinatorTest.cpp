#include "TrashTestSupport.h"

#include "trash/DurableTrashJournal.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashOperationLock.h"
#include "trash/TrashTransactionCoordinator.h"
#include "trash/TrashTransactionError.h"

#include <algorithm>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
using Kind = TrashTransactionError::Kind;
using State = TrashTransactionState;
namespace Coordinator = TrashTransactionCoordinator;

namespace {

class TrashCoordinatorTest : public TrashTransactionTest {};

} // namespace

TEST_F(TrashCoordinatorTest, prepareStagesVerifiedCopiesAndCommitTrashesThenCleansUp)
{
    const QString jpeg = box.addOriginal(QStringLiteral("IMG_1.jpg"), QByteArray(300000, 'j'));
    const QString raw = box.addOriginal(QStringLiteral("IMG_1.CR2"), QByteArray(500000, 'r'));
    const QString single = box.addOriginal(QStringLiteral("Cafe\u0301.jpg"), "single");
    const QList<TrashGroup> groups{TrashSandbox::oneGroup({jpeg, raw}), TrashSandbox::oneGroup({single})};

    QList<TrashProgressReport> progress;
    const TrashPreparation prepared =
        Coordinator::prepare(session, groups, FileUrl::fromLocalPath(box.resultRoot()), box.journalBase(), checker,
                             [&](const TrashProgressReport& report) { progress.append(report); });
    ASSERT_EQ(prepared.entries.size(), 3);
    // The staging screen counts finished safety copies as well as bytes, and names the file.
    ASSERT_GE(progress.size(), 4);
    EXPECT_EQ(progress.first().completedFiles, 0);
    EXPECT_EQ(progress.first().completedBytes, 0);
    for (qsizetype i = 0; i < progress.size(); ++i) {
        EXPECT_EQ(progress[i].totalFiles, 3);
        EXPECT_EQ(progress[i].totalBytes, 800006);
        if (i > 0) {
            EXPECT_GE(progress[i].completedFiles, progress[i - 1].completedFiles);
            EXPECT_GE(progress[i].completedBytes, progress[i - 1].completedBytes);
        }
    }
    EXPECT_EQ(progress.last().completedFiles, 3);
    EXPECT_EQ(progress.last().completedBytes, 800006);
    EXPECT_EQ(progress.last().currentFilename, QStringLiteral("Cafe\u0301.jpg"));
    const auto afterFirstFile = std::find_if(progress.begin(), progress.end(),
                                             [](const TrashProgressReport& r) { return r.completedFiles == 1; });
    ASSERT_NE(afterFirstFile, progress.end());
    EXPECT_EQ(afterFirstFile->completedBytes, 300000) << "a finished copy counts with its whole size";
    EXPECT_EQ(prepared.stagingRoot.path(), box.resultRoot() + QLatin1String("/Sicherheitsablage/")
                                               + session.toString(QUuid::WithoutBraces).toUpper());
    EXPECT_TRUE(prepared.sameVolumeAsSource);
    ASSERT_EQ(prepared.sourceVolumes.size(), 1);
    EXPECT_EQ(prepared.totalBytes(), 800006);
    for (const auto& entry : prepared.entries) {
        EXPECT_EQ(entry.state, State::stagedVerified);
        EXPECT_TRUE(QFile::exists(entry.sourceURL.path())) << "phase one touches no original";
        EXPECT_EQ(readFile(entry.stagingURL.path()), readFile(entry.sourceURL.path()));
        EXPECT_EQ(entry.stagingURL.parent().parent().fileName(), entry.groupID.toString(QUuid::WithoutBraces).toUpper());
        EXPECT_EQ(journaledStates(entry.id), (QList<State>{State::planned, State::stagingIntent, State::stagedVerified}));
    }
    EXPECT_EQ(prepared.entries[2].stagingURL.fileName(), QStringLiteral("Caf\u00e9.jpg")) << "staging names are NFC";
    EXPECT_TRUE(trashed().isEmpty());

    QList<TrashProgressReport> moves;
    const TrashPreparation committed =
        Coordinator::commit(prepared, box.journalBase(), service, receipts,
                            [&](const TrashProgressReport& report) { moves.append(report); });
    ASSERT_EQ(moves.size(), 4) << "once before the first move, then once per moved original";
    EXPECT_EQ(moves.first().completedFiles, 0);
    EXPECT_EQ(moves.last().completedFiles, 3);
    EXPECT_EQ(moves.last().totalFiles, 3);
    EXPECT_EQ(moves.last().completedBytes, 800006);
    for (const auto& entry : committed.entries) {
        EXPECT_EQ(entry.state, State::stageCleaned);
        ASSERT_TRUE(entry.receipt);
        EXPECT_FALSE(QFile::exists(entry.sourceURL.path()));
        EXPECT_FALSE(QFile::exists(entry.stagingURL.path()));
        EXPECT_EQ(entry.receipt->identity.sha256, entry.sourceIdentity.sha256);
        EXPECT_EQ(journaledStates(entry.id),
                  (QList<State>{State::planned, State::stagingIntent, State::stagedVerified, State::trashIntent,
                                State::trashedConfirmed, State::cleanupIntent, State::stageCleaned}));
    }
    EXPECT_EQ(trashed().size(), 3);
    EXPECT_FALSE(QFileInfo::exists(box.resultRoot() + QLatin1String("/Sicherheitsablage"))) << "no empty folders stay";
    EXPECT_FALSE(QFile::exists(box.resultRoot() + QLatin1String("/active-trash.lock")));
    EXPECT_FALSE(QFile::exists(box.journalBase() + QLatin1String("/active-trash.lock")));
}

TEST_F(TrashCoordinatorTest, groupWithValidationErrorIsNeitherStagedNorJournaled)
{
    const QString refused = box.addOriginal(QStringLiteral("A.ARW"), "a");
    const QString fine = box.addOriginal(QStringLiteral("B.jpg"), "b");
    TrashGroup bad = TrashSandbox::oneGroup({refused});
    bad.validationError = QStringLiteral("Mehrere XMP-Sidecars für A.ARW");
    const TrashPreparation prepared = prepare({bad, TrashSandbox::oneGroup({fine})});
    ASSERT_EQ(prepared.entries.size(), 1);
    EXPECT_EQ(prepared.entries[0].sourceURL.path(), fine);
    commit(prepared);
    EXPECT_EQ(readFile(refused), QByteArray("a"));
    EXPECT_EQ(trashed(), QStringList{"B.jpg"});
}

TEST_F(TrashCoordinatorTest, originalTouchedAfterPreparationStopsTheCommitBeforeAnyMove)
{
    const QString first = box.addOriginal(QStringLiteral("a.jpg"), "a");
    const QString touched = box.addOriginal(QStringLiteral("b.jpg"), "b");
    const TrashPreparation prepared = prepare(TrashSandbox::singleGroups({first, touched}));
    setModificationTime(touched, 1'000'000'000);
    EXPECT_EQ(failure([&] { commit(prepared); }), Kind::sourceChanged);
    EXPECT_TRUE(QFile::exists(first)) << "the pre-check runs before the first move";
    EXPECT_TRUE(trashed().isEmpty());
}

// A copy that is gone, or replaced by a link to an identical file, stops the commit before
// any move and holds its file for review; the next commit goes on without it and never
// trashes an original whose copy is not what was verified.
TEST_F(TrashCoordinatorTest, missingOrReplacedSafetyCopyStopsTheCommitAndIsHeldForReview)
{
    const QString a = box.addOriginal(QStringLiteral("a.jpg"), "a");
    const QString b = box.addOriginal(QStringLiteral("b.jpg"), "b");
    const QString c = box.addOriginal(QStringLiteral("c.jpg"), "c");
    const TrashPreparation prepared = prepare(TrashSandbox::singleGroups({a, b, c}));
    ::unlink(QFile::encodeName(prepared.entries[0].stagingURL.path()).constData());
    const QString lookalike = box.tree.write(QStringLiteral("lookalike.jpg"), "b");
    const QString copyOfB = prepared.entries[1].stagingURL.path();
    ::unlink(QFile::encodeName(copyOfB).constData());
    ASSERT_EQ(::symlink(QFile::encodeName(lookalike).constData(), QFile::encodeName(copyOfB).constData()), 0);

    EXPECT_EQ(failure([&] { commit(prepared); }), Kind::stagingChanged);
    EXPECT_EQ(failure([&] { commit(prepared); }), Kind::stagingChanged);
    EXPECT_TRUE(trashed().isEmpty()) << "nothing moves while a waiting copy is not what was verified";
    const TrashPreparation committed = commit(prepared);
    EXPECT_EQ(committed.entries[0].state, State::needsReview);
    EXPECT_EQ(committed.entries[1].state, State::needsReview);
    EXPECT_EQ(committed.entries[2].state, State::stageCleaned);
    EXPECT_EQ(committed.needsReviewCount(), 2);
    EXPECT_EQ(readFile(a), QByteArray("a"));
    EXPECT_EQ(readFile(b), QByteArray("b"));
    EXPECT_EQ(trashed(), QStringList{QStringLiteral("c.jpg")});
}

TEST_F(TrashCoordinatorTest, symbolicLinkSwappedInForTheOriginalIsNeverFollowed)
{
    const QString original = box.addOriginal(QStringLiteral("a.jpg"), "a");
    const TrashPreparation prepared = prepare(TrashSandbox::singleGroups({original}));
    const QString moved = box.tree.path(QStringLiteral("elsewhere.jpg"));
    ASSERT_EQ(::rename(QFile::encodeName(original).constData(), QFile::encodeName(moved).constData()), 0);
    ASSERT_EQ(::symlink(QFile::encodeName(moved).constData(), QFile::encodeName(original).constData()), 0);
    EXPECT_EQ(failure([&] { commit(prepared); }), Kind::unsupportedItem);
    EXPECT_EQ(readFile(moved), QByteArray("a"));
    EXPECT_TRUE(trashed().isEmpty());
}

TEST_F(TrashCoordinatorTest, secondHardLinkGainedAfterPreparationIsRefused)
{
    const QString original = box.addOriginal(QStringLiteral("a.jpg"), "a");
    const TrashPreparation prepared = prepare(TrashSandbox::singleGroups({original}));
    ASSERT_EQ(::link(QFile::encodeName(original).constData(), QFile::encodeName(box.tree.path(QStringLiteral("b.jpg"))).constData()), 0);
    EXPECT_EQ(failure([&] { commit(prepared); }), Kind::multipleHardLinks);
    EXPECT_TRUE(QFile::exists(original));
}

TEST_F(TrashCoordinatorTest, rerunPrepareReusesEntriesAndMatchingLeftoverCopies)
{
    const QString a = box.addOriginal(QStringLiteral("a.jpg"), "a");
    const QString b = box.addOriginal(QStringLiteral("b.jpg"), "b");
    const QList<TrashGroup> groups = TrashSandbox::singleGroups({a, b});
    const TrashPreparation first = prepare(groups);
    // Same groups planned again with fresh ids, as after a restart.
    const TrashPreparation second = prepare(TrashSandbox::singleGroups({a, b}));
    ASSERT_EQ(second.entries.size(), 2);
    EXPECT_EQ(second.entries[0].id, first.entries[0].id);
    EXPECT_EQ(second.entries[1].id, first.entries[1].id);
    EXPECT_EQ(DurableTrashJournal::verifyFile(DurableTrashJournal::journalPath(box.journalBase(), session)).size(), 6);
}

TEST_F(TrashCoordinatorTest, foreignFileAtTheStagingPlaceIsACollision)
{
    const QString a = box.addOriginal(QStringLiteral("a.jpg"), "a");
    // Plan only (a storage check that fails after planning leaves entries in `planned`).
    TrashTransactionOptions noSpace;
    noSpace.storageCheck = [](qint64, const QString&) { return std::optional<QString>(QStringLiteral("Zu wenig Speicher")); };
    EXPECT_EQ(failure([&] { prepare(TrashSandbox::singleGroups({a}), noSpace); }), Kind::insufficientStorage);
    const TrashEntry planned = DurableTrashJournal::foldLatest(
        DurableTrashJournal::verifyFile(DurableTrashJournal::journalPath(box.journalBase(), session))).first();
    EXPECT_EQ(planned.state, State::planned);

    box.tree.write(QDir(box.tree.root()).relativeFilePath(planned.stagingURL.path()), "not a");
    EXPECT_EQ(failure([&] { prepare(TrashSandbox::singleGroups({a})); }), Kind::stagingCollision);
    EXPECT_EQ(readFile(planned.stagingURL.path()), QByteArray("not a")) << "a foreign file is never overwritten";
    const QList<State> states = journaledStates(planned.id);
    EXPECT_EQ(states.last(), State::failed);

    // With the right content in place the leftover is taken as the copy.
    ::unlink(QFile::encodeName(planned.stagingURL.path()).constData());
    box.tree.write(QDir(box.tree.root()).relativeFilePath(planned.stagingURL.path()), "a");
    QList<TrashProgressReport> progress;
    const TrashPreparation prepared =
        Coordinator::prepare(session, TrashSandbox::singleGroups({a}), FileUrl::fromLocalPath(box.resultRoot()),
                             box.journalBase(), checker, [&](const TrashProgressReport& report) { progress.append(report); });
    EXPECT_EQ(prepared.entries[0].state, State::stagedVerified);
    EXPECT_EQ(journaledStates(planned.id).mid(2), (QList<State>{State::planned, State::stagedVerified}));
    ASSERT_FALSE(progress.isEmpty());
    EXPECT_EQ(progress.last().completedFiles, 1) << "a reused copy is a finished file too";
    EXPECT_EQ(progress.last().completedBytes, 1);
}

TEST_F(TrashCoordinatorTest, journalFailureStopsBeforeTheAnnouncedStep)
{
    const QString a = box.addOriginal(QStringLiteral("a.jpg"), "a");
    {
        // Writes: planned record (1), then the stagingIntent record (2) fails: no copy may exist.
        FaultInjectingFileOps ops;
        ops.failAt(FileOps::Op::write, 3, ENOSPC); // 1: lock pid, 2: planned, 3: stagingIntent
        TrashTransactionOptions options;
        options.fileOps = &ops;
        EXPECT_EQ(failure([&] { prepare(TrashSandbox::singleGroups({a}), options); }), Kind::journalUnavailable);
        const auto entries = DurableTrashJournal::foldLatest(
            DurableTrashJournal::verifyFile(DurableTrashJournal::journalPath(box.journalBase(), session)));
        ASSERT_EQ(entries.size(), 1);
        EXPECT_EQ(entries[0].state, State::planned);
        EXPECT_FALSE(QFileInfo::exists(entries[0].stagingURL.parent().path()));
    }
    const TrashPreparation prepared = prepare(TrashSandbox::singleGroups({a}));
    {
        // The trashIntent record cannot be flushed: the original must stay where it is.
        FaultInjectingFileOps ops;
        ops.failAt(FileOps::Op::fsync, 2, EIO); // 1: the lock file, 2: the trashIntent record
        TrashTransactionOptions options;
        options.fileOps = &ops;
        EXPECT_EQ(failure([&] { commit(prepared, options); }),
                  Kind::journalUnavailable);
        EXPECT_EQ(readFile(a), QByteArray("a"));
        EXPECT_TRUE(trashed().isEmpty());
    }
}

TEST_F(TrashCoordinatorTest, deferredTransactionKeepsEverythingAndCanBeCommittedLater)
{
    const QString a = box.addOriginal(QStringLiteral("a.jpg"), "a");
    const TrashPreparation prepared = prepare(TrashSandbox::singleGroups({a}));
    const TrashPreparation deferred = Coordinator::markDeferred(prepared, box.journalBase());
    EXPECT_EQ(deferred.entries[0].state, State::deferred);
    EXPECT_TRUE(QFile::exists(a));
    EXPECT_TRUE(QFile::exists(deferred.entries[0].stagingURL.path()));
    const TrashPreparation committed = commit(deferred);
    EXPECT_EQ(committed.entries[0].state, State::stageCleaned);
    EXPECT_FALSE(QFile::exists(a));
}

TEST_F(TrashCoordinatorTest, secondDestructiveSessionIsRefusedWhileOneRuns)
{
    const QString a = box.addOriginal(QStringLiteral("a.jpg"), "a");
    TrashOperationLock held(box.journalBase());
    EXPECT_EQ(failure([&] { prepare(TrashSandbox::singleGroups({a})); }), Kind::transactionAlreadyRunning);
    EXPECT_FALSE(QFileInfo::exists(box.resultRoot() + QLatin1String("/Sicherheitsablage")));
}

TEST_F(TrashCoordinatorTest, corruptJournalStopsEveryOperation)
{
    const QString a = box.addOriginal(QStringLiteral("a.jpg"), "a");
    const TrashPreparation prepared = prepare(TrashSandbox::singleGroups({a}));
    const QString journal = DurableTrashJournal::journalPath(box.journalBase(), session);
    flipByte(journal, 40);
    EXPECT_EQ(failure([&] { commit(prepared); }), Kind::journalCorrupt);
    EXPECT_EQ(failure([&] { Coordinator::reload(prepared, box.journalBase()); }), Kind::journalCorrupt);
    EXPECT_EQ(failure([&] { Coordinator::markDeferred(prepared, box.journalBase()); }), Kind::journalCorrupt);
    EXPECT_EQ(failure([&] { prepare(TrashSandbox::singleGroups({a})); }), Kind::journalCorrupt);
    EXPECT_EQ(readFile(a), QByteArray("a"));
    EXPECT_TRUE(QFile::exists(prepared.entries[0].stagingURL.path()));
}
