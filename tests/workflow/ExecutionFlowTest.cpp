// Runs started from the view model: what reaches the disk, the journal and the screens, and
// what happens when a run is refused, cancelled, resumed or its journal fails.

#include "WorkflowRig.h"
#include "workflow/ExecutionRun.h"

#include <QDir>
#include <QDirIterator>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

// A shoot whose files exist with the size and date the scan reports, each with its own bytes.
QList<PhotoItem> realShoot(const QString& folder, int pairs, int singles = 0)
{
    QList<PhotoItem> items = shoot(folder, pairs, singles);
    for (const PhotoItem& item : items) {
        QByteArray bytes = item.relativePath.toUtf8();
        bytes.append(QByteArray(int(item.fileSize) - bytes.size(), 'x'));
        writeFile(item.sourceURL.path(), bytes);
        QFile file(item.sourceURL.path());
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        EXPECT_TRUE(file.setFileTime(item.modificationDate, QFileDevice::FileModificationTime));
    }
    return items;
}

// Decides every group in turn and waits for the confirmation screen.
void decideAll(WorkflowRig& rig, const QList<PhotoDecision>& decisions)
{
    for (int i = 0; i < rig.vm().reviewGroupCount(); ++i)
        rig.decide(decisions[i % decisions.size()]);
    ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::confirmation; }));
    rig.settle();
}

void waitForRunEnd(WorkflowRig& rig)
{
    ASSERT_TRUE(waitFor([&] { return !rig.vm().isApplying(); }, 30000));
    rig.settle();
}

} // namespace

TEST(ExecutionFlow, safeCopyFilesEverythingJournalsItAndReports)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2, 1));
    rig.vm().chooseFormatReview(FormatReviewChoice::jpeg);
    rig.startReview(SortOperationMode::safeCopy);
    decideAll(rig, {PhotoDecision::keep, PhotoDecision::maybe, PhotoDecision::del});
    // The confirmation screen shows a fresh estimate of the five files.
    ASSERT_TRUE(waitFor([&] { return rig.vm().currentStorageEstimate() && !rig.vm().isCheckingStorage(); }));
    EXPECT_EQ(rig.vm().currentStorageEstimate()->requiredBytes, 5000);
    EXPECT_TRUE(rig.vm().currentStorageEstimate()->isSufficient);
    ASSERT_TRUE(rig.vm().canExecute());

    rig.vm().applySort();
    EXPECT_EQ(rig.vm().route(), AppRoute::executing);
    EXPECT_FALSE(rig.vm().canExecute()) << "a second run while one works";
    waitForRunEnd(rig);

    ASSERT_EQ(rig.vm().route(), AppRoute::completed) << rig.vm().alertText().toStdString();
    const SortResult result = *rig.vm().lastSortResult();
    // Three JPEGs reviewed, two RAWs carried along as keep: every file is copied.
    EXPECT_EQ(result.organizedCount, 5);
    EXPECT_TRUE(result.errors.isEmpty());
    EXPECT_EQ(filesBelow(rig.vm().destinationFolderPath()).size(), 5);
    EXPECT_EQ(filesBelow(rig.photoFolder).size(), 5) << "originals stay";
    EXPECT_EQ(rig.vm().progress()->phase, SortPhase::finished);

    // Every outcome is in the journal: a restarted process sees a completed session.
    for (const ExecutionRecord& record : rig.vm().session()->executionRecords)
        EXPECT_EQ(record.status, ExecutionActionStatus::completed) << record.sourcePath.toStdString();
    EXPECT_EQ(rig.vm().session()->executionRecords.size(), 5);
    const SortSession stored = rig.store->loadSession(rig.vm().session()->id).result();
    EXPECT_EQ(stored.status, SortSessionStatus::completed);
    EXPECT_EQ(stored.executionRecords, rig.vm().session()->executionRecords);
    EXPECT_FALSE(rig.store->loadLatestIncomplete().result().has_value());

    const QStringList report = rig.vm().reportText().split(QLatin1Char('\n'));
    ASSERT_EQ(report.size(), 9);
    EXPECT_EQ(report[0], QStringLiteral("Kestrava 0.6.3 Bericht"));
    EXPECT_EQ(report.mid(1), (QStringList{"Modus: Sicher kopieren", "Quelle: Fotos", "Ziel: Ergebnis",
                                          "Organisiert: 5", "Übersprungen: 0", "Papierkorb: 0", "Ausstehend: 0",
                                          "Fehler: 0"}));
    const QString reportFile = rig.tree.path(QStringLiteral("Kestrava-Bericht.txt"));
    ASSERT_TRUE(rig.vm().saveReport(reportFile));
    EXPECT_EQ(QString::fromUtf8(readFile(reportFile)), rig.vm().reportText());
}

TEST(ExecutionFlow, refusedStartsChangeNothing)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2));
    rig.startReview(SortOperationMode::organizeAndTrash);
    rig.decide(PhotoDecision::keep);
    // Not every group is decided.
    EXPECT_FALSE(rig.vm().canExecute());
    rig.vm().applyStandardSort();
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Die Ausführung ist noch nicht sicher bestätigt."));
    rig.decide(PhotoDecision::del);
    ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::confirmation; }));

    // The destructive mode needs its first confirmation.
    EXPECT_FALSE(rig.vm().canExecute());
    rig.vm().applySort();
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Die Sicherheitsablage kann noch nicht vorbereitet werden."));
    EXPECT_EQ(rig.vm().route(), AppRoute::confirmation);
    rig.vm().setDestructiveConfirmationAccepted(true);
    EXPECT_TRUE(rig.vm().canExecute());
    EXPECT_FALSE(QDir(rig.vm().destinationFolderPath()).exists());
}

TEST(ExecutionFlow, cancelledRunPausesAndRetrySkipsNothingTwice)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 3));
    rig.startReview(SortOperationMode::moveOriginals);
    decideAll(rig, {PhotoDecision::keep});

    // Cancelled before its first file: everything stays pending and the session resumable.
    rig.vm().applySort();
    rig.vm().cancelExecution();
    waitForRunEnd(rig);
    ASSERT_EQ(rig.vm().route(), AppRoute::completed);
    EXPECT_EQ(rig.vm().lastSortResult()->pendingCount, 6);
    EXPECT_TRUE(rig.vm().lastSortResult()->errors.contains(ResumableSortExecutor::cancellationMessage()));
    EXPECT_EQ(rig.store->loadSession(rig.vm().session()->id).result().status, SortSessionStatus::paused);
    EXPECT_EQ(filesBelow(rig.photoFolder).size(), 6);

    rig.vm().retryPendingSort();
    waitForRunEnd(rig);
    EXPECT_EQ(rig.vm().lastSortResult()->organizedCount, 6);
    EXPECT_EQ(rig.vm().lastSortResult()->pendingCount, 0);
    EXPECT_TRUE(filesBelow(rig.photoFolder).isEmpty()) << "moved, each exactly once";
    EXPECT_EQ(filesBelow(rig.vm().destinationFolderPath()).size(), 6);
    EXPECT_EQ(rig.store->loadSession(rig.vm().session()->id).result().status, SortSessionStatus::completed);
}

TEST(ExecutionFlow, planThatCannotBeJournaledTouchesNoFile)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2));
    rig.startReview(SortOperationMode::moveOriginals);
    decideAll(rig, {PhotoDecision::keep});

    // Let the run's snapshot through, then fail the first write of the journal.
    rig.fileOps.failAt(FileOps::Op::write, 0, EIO);
    rig.vm().saveSessionSnapshot().waitForFinished();
    const int snapshotWrites = rig.fileOps.callCount(FileOps::Op::write);
    rig.fileOps.failAt(FileOps::Op::write, snapshotWrites + 1, EIO);
    rig.vm().applySort();
    waitForRunEnd(rig);
    rig.fileOps.clearFaults();

    EXPECT_EQ(rig.vm().route(), AppRoute::confirmation);
    EXPECT_TRUE(rig.vm().alertText().startsWith(ExecutionRun::planNotSavedPrefix())) << rig.vm().alertText().toStdString();
    EXPECT_EQ(filesBelow(rig.photoFolder).size(), 4);
    EXPECT_TRUE(filesBelow(rig.vm().destinationFolderPath()).isEmpty());
    EXPECT_FALSE(rig.vm().lastSortResult().has_value());
}

TEST(ExecutionFlow, resumedSessionContinuesWhereTheRecordsEnd)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2));
    rig.startReview(SortOperationMode::safeCopy);
    decideAll(rig, {PhotoDecision::keep});
    rig.vm().applySort();
    rig.vm().cancelExecution();
    waitForRunEnd(rig);

    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().hasResumableSession(); }));
    rig.vm().resumeSavedSession();
    ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::confirmation; }));
    rig.settle();
    ASSERT_TRUE(rig.vm().canExecute()) << rig.vm().alertText().toStdString();
    rig.vm().retryPendingSort();
    waitForRunEnd(rig);
    EXPECT_EQ(rig.vm().lastSortResult()->organizedCount, 4);
    EXPECT_EQ(filesBelow(rig.vm().destinationFolderPath()).size(), 4);
}
