// Runs started from the view model: what reaches the disk, the journal and the screens, and
// what happens when a run is refused, cancelled, resumed or its journal fails.

#include "WorkflowRig.h"
#include "workflow/ExecutionRun.h"

#include <QDir>
#include <QDirIterator>
#include <QPromise>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

// A shoot whose files exist with the size and date the scan reports, each with its own bytes.
QList<PhotoItem> realShoot(const QString& folder, int pairs, int singles = 0)
{
    const QList<PhotoItem> items = shoot(folder, pairs, singles);
    writeFiles(items);
    return items;
}

// Decides every group in turn and waits for the confirmation screen.
void decideAll(WorkflowRig& rig, const QList<PhotoDecision>& decisions)
{
    for (int i = 0; i < rig.vm().review()->reviewGroupCount(); ++i)
        rig.decide(decisions[i % decisions.size()]);
    ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::confirmation; }));
    rig.settle();
}

void waitForRunEnd(WorkflowRig& rig)
{
    ASSERT_TRUE(waitFor([&] { return !rig.vm().execution()->isApplying(); }, 30000));
    rig.settle();
}

} // namespace

TEST(ExecutionFlow, safeCopyFilesEverythingJournalsItAndReports)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2, 1));
    rig.vm().loading()->chooseFormatReview(FormatReviewChoice::jpeg);
    rig.startReview(SortOperationMode::safeCopy);
    decideAll(rig, {PhotoDecision::keep, PhotoDecision::maybe, PhotoDecision::del});
    // The confirmation screen shows a fresh estimate of the five files.
    ASSERT_TRUE(waitFor([&] { return rig.vm().execution()->currentStorageEstimate() && !rig.vm().execution()->isCheckingStorage(); }));
    EXPECT_EQ(rig.vm().execution()->currentStorageEstimate()->requiredBytes, 5000);
    EXPECT_TRUE(rig.vm().execution()->currentStorageEstimate()->isSufficient);
    ASSERT_TRUE(rig.vm().execution()->canExecute());
    EXPECT_EQ(rig.vm().execution()->fileProgressText(), QStringLiteral("–")) << "no run yet";
    EXPECT_FALSE(rig.vm().execution()->hasResult());

    rig.vm().execution()->applySort();
    EXPECT_EQ(rig.vm().route(), AppRoute::executing);
    EXPECT_FALSE(rig.vm().execution()->canExecute()) << "a second run while one works";
    waitForRunEnd(rig);

    ASSERT_EQ(rig.vm().route(), AppRoute::completed) << rig.vm().alertText().toStdString();
    const SortResult result = *rig.vm().execution()->lastSortResult();
    // Three JPEGs reviewed, two RAWs carried along as keep: every file is copied.
    EXPECT_EQ(result.organizedCount, 5);
    EXPECT_TRUE(result.errors.isEmpty());
    EXPECT_EQ(filesBelow(rig.vm().destinationFolderPath()).size(), 5);
    EXPECT_EQ(filesBelow(rig.photoFolder).size(), 5) << "originals stay";
    EXPECT_EQ(rig.vm().execution()->progress()->phase, SortPhase::finished);

    // What the execution and completed screens bind, read from the typed run state.
    const ExecutionStage& stage = *rig.vm().execution();
    EXPECT_EQ(stage.phaseProgressText(), QStringLiteral("Fertig · 5 / 5"));
    EXPECT_DOUBLE_EQ(stage.progressFraction(), 1.0);
    EXPECT_EQ(stage.completedHeadline(), QStringLiteral("Deine Fotos sind sortiert."));
    ASSERT_FALSE(stage.resultCards().isEmpty());
    EXPECT_EQ(stage.resultCards().first().value, QStringLiteral("5"));
    EXPECT_EQ(stage.resultCards().first().tone, ResultCard::Tone::good);
    EXPECT_EQ(stage.pendingCount(), 0);

    // Every outcome is in the journal: a restarted process sees a completed session.
    for (const ExecutionRecord& record : rig.vm().session()->executionRecords)
        EXPECT_EQ(record.status, ExecutionActionStatus::completed) << record.sourcePath.toStdString();
    EXPECT_EQ(rig.vm().session()->executionRecords.size(), 5);
    const SortSession stored = rig.store->loadSession(rig.vm().session()->id).result();
    EXPECT_EQ(stored.status, SortSessionStatus::completed);
    EXPECT_EQ(stored.executionRecords, rig.vm().session()->executionRecords);
    EXPECT_FALSE(rig.store->loadLatestIncomplete().result().has_value());

    const QStringList report = rig.vm().execution()->reportText().split(QLatin1Char('\n'));
    ASSERT_EQ(report.size(), 9);
    EXPECT_EQ(report[0], QStringLiteral("Kestrava 0.6.3 Bericht"));
    EXPECT_EQ(report.mid(1), (QStringList{"Modus: Sicher kopieren", "Quelle: Fotos", "Ziel: Ergebnis",
                                          "Organisiert: 5", "Übersprungen: 0", "Papierkorb: 0", "Ausstehend: 0",
                                          "Fehler: 0"}));
    const QString reportFile = rig.tree.path(QStringLiteral("Kestrava-Bericht.txt"));
    ASSERT_TRUE(rig.vm().execution()->saveReport(reportFile));
    EXPECT_EQ(QString::fromUtf8(readFile(reportFile)), rig.vm().execution()->reportText());
}

TEST(ExecutionFlow, refusedStartsChangeNothing)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2));
    rig.startReview(SortOperationMode::organizeAndTrash);
    rig.decide(PhotoDecision::keep);
    // Not every group is decided.
    EXPECT_FALSE(rig.vm().execution()->canExecute());
    rig.vm().execution()->applyStandardSort();
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Die Ausführung ist noch nicht sicher bestätigt."));
    rig.vm().dismissAlert();
    rig.decide(PhotoDecision::del);
    ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::confirmation; }));

    // The destructive mode needs its first confirmation.
    EXPECT_FALSE(rig.vm().execution()->canExecute());
    rig.vm().execution()->applySort();
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Die Sicherheitsablage kann noch nicht vorbereitet werden."));
    EXPECT_EQ(rig.vm().route(), AppRoute::confirmation);
    rig.vm().setDestructiveConfirmationAccepted(true);
    EXPECT_TRUE(rig.vm().execution()->canExecute());
    EXPECT_FALSE(QDir(rig.vm().destinationFolderPath()).exists());
}

TEST(ExecutionFlow, movingStartsOnlyAfterTheTickAndAnotherModeTakesItBack)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2));
    rig.startReview(SortOperationMode::moveOriginals);
    decideAll(rig, {PhotoDecision::keep});
    ASSERT_TRUE(waitFor([&] { return !rig.vm().execution()->isCheckingStorage(); }));

    EXPECT_FALSE(rig.vm().execution()->canExecute());
    rig.vm().execution()->applySort();
    EXPECT_EQ(rig.vm().route(), AppRoute::confirmation);
    EXPECT_FALSE(rig.vm().alertText().isEmpty());
    rig.vm().dismissAlert();
    EXPECT_EQ(filesBelow(rig.photoFolder).size(), 4);

    // The tick given for moving does not carry over to the trash mode's other effect.
    rig.vm().setDestructiveConfirmationAccepted(true);
    rig.vm().selectOperationMode(SortOperationMode::organizeAndTrash);
    EXPECT_FALSE(rig.vm().destructiveConfirmationAccepted());
    rig.vm().selectOperationMode(SortOperationMode::safeCopy);
    EXPECT_TRUE(rig.vm().execution()->canExecute()) << "a copy needs no tick";

    rig.vm().selectOperationMode(SortOperationMode::moveOriginals);
    rig.vm().setDestructiveConfirmationAccepted(true);
    ASSERT_TRUE(waitFor([&] { return rig.vm().execution()->canExecute(); }));
    rig.vm().execution()->applySort();
    waitForRunEnd(rig);
    EXPECT_EQ(rig.vm().route(), AppRoute::completed);
    EXPECT_TRUE(filesBelow(rig.photoFolder).isEmpty());
}

TEST(ExecutionFlow, confirmationNamesEveryFileTheMoveTakesAndWhatStaysOut)
{
    WorkflowRig rig;
    rig.scanResult.unsupportedFiles = 3;
    rig.scanResult.unsupportedExamples = {QStringLiteral("IMG_0001.CRW"), QStringLiteral("IMG_0002.CRW")};
    rig.load(realShoot(rig.photoFolder, 2, 1), 1);
    rig.vm().loading()->chooseFormatReview(FormatReviewChoice::jpeg);
    rig.startReview(SortOperationMode::moveOriginals);
    decideAll(rig, {PhotoDecision::keep, PhotoDecision::del, PhotoDecision::keep});

    // Three JPEGs were decided, and their two RAWs move with them.
    const ExecutionStage& execution = *rig.vm().execution();
    EXPECT_EQ(execution.runScopeText(), QStringLiteral("3 Motive · 5 Dateien"));
    EXPECT_EQ(execution.runScopeLines(),
              (QStringList{QStringLiteral("Behalten: 2 JPEG"), QStringLiteral("Aussortiert: 1 JPEG"),
                           QStringLiteral("Ohne eigene Bewertung: 2 RAW – werden automatisch als „Behalten“ einsortiert"),
                           QStringLiteral("Nicht Teil der Sortierung: 1 nicht lesbarer Eintrag – bleibt unverändert im Quellordner"),
                           QStringLiteral("Nicht Teil der Sortierung: 3 Dateien in nicht unterstützten Formaten (z. B. IMG_0001.CRW)")}));

    // A resumed session is not scanned again: it still names what stays out.
    const QStringList lines = execution.runScopeLines();
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    const ExecutionStage& resumed = *rig.vm().execution();
    EXPECT_EQ(resumed.runScopeLines(), lines);

    rig.vm().setDestructiveConfirmationAccepted(true);
    ASSERT_TRUE(waitFor([&] { return resumed.canExecute(); }));
    rig.vm().execution()->applySort();
    waitForRunEnd(rig);
    ASSERT_EQ(rig.vm().route(), AppRoute::completed) << rig.vm().alertText().toStdString();
    EXPECT_EQ(filesBelow(rig.vm().destinationFolderPath()).size(), resumed.runScope().filesInRun());
    EXPECT_TRUE(filesBelow(rig.photoFolder).isEmpty());
}

TEST(ExecutionFlow, cancelledRunPausesAndRetrySkipsNothingTwice)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 3));
    rig.startReview(SortOperationMode::moveOriginals);
    decideAll(rig, {PhotoDecision::keep});
    rig.vm().setDestructiveConfirmationAccepted(true);

    // Cancelled before its first file: everything stays pending and the session resumable.
    rig.vm().execution()->applySort();
    rig.vm().execution()->cancelExecution();
    waitForRunEnd(rig);
    ASSERT_EQ(rig.vm().route(), AppRoute::completed);
    EXPECT_EQ(rig.vm().execution()->lastSortResult()->pendingCount, 6);
    EXPECT_TRUE(rig.vm().execution()->lastSortResult()->errors.contains(ResumableSortExecutor::cancellationMessage()));
    EXPECT_EQ(rig.store->loadSession(rig.vm().session()->id).result().status, SortSessionStatus::paused);
    EXPECT_EQ(filesBelow(rig.photoFolder).size(), 6);

    rig.vm().execution()->retryPendingSort();
    waitForRunEnd(rig);
    EXPECT_EQ(rig.vm().execution()->lastSortResult()->organizedCount, 6);
    EXPECT_EQ(rig.vm().execution()->lastSortResult()->pendingCount, 0);
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
    rig.vm().setDestructiveConfirmationAccepted(true);

    // Let the run's snapshot through, then fail the first write of the journal.
    rig.fileOps.failAt(FileOps::Op::write, 0, EIO);
    rig.vm().saveSessionSnapshot().waitForFinished();
    const int snapshotWrites = rig.fileOps.callCount(FileOps::Op::write);
    rig.fileOps.failAt(FileOps::Op::write, snapshotWrites + 1, EIO);
    rig.vm().execution()->applySort();
    waitForRunEnd(rig);
    rig.fileOps.clearFaults();

    EXPECT_EQ(rig.vm().route(), AppRoute::confirmation);
    EXPECT_TRUE(rig.vm().alertText().startsWith(ExecutionRun::planNotSavedPrefix())) << rig.vm().alertText().toStdString();
    EXPECT_EQ(filesBelow(rig.photoFolder).size(), 4);
    EXPECT_TRUE(filesBelow(rig.vm().destinationFolderPath()).isEmpty());
    EXPECT_FALSE(rig.vm().execution()->lastSortResult().has_value());
}

TEST(ExecutionFlow, snapshotThatCannotBeSavedStopsTheRunAndSaysWhy)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2));
    rig.startReview(SortOperationMode::moveOriginals);
    decideAll(rig, {PhotoDecision::keep});
    rig.vm().setDestructiveConfirmationAccepted(true);

    // The run's first write is its snapshot.
    rig.fileOps.failAt(FileOps::Op::write, 1, ENOSPC);
    rig.vm().execution()->applySort();
    waitForRunEnd(rig);
    rig.fileOps.clearFaults();

    const QString alert = rig.vm().alertText();
    EXPECT_TRUE(alert.startsWith(ExecutionRun::snapshotFailedMessage())) << alert.toStdString();
    // The store's words: which file, and what the file system said.
    EXPECT_TRUE(alert.contains(QStringLiteral(".session.json"))) << alert.toStdString();
    EXPECT_EQ(filesBelow(rig.photoFolder).size(), 4);
    EXPECT_TRUE(filesBelow(rig.vm().destinationFolderPath()).isEmpty());
}

TEST(ExecutionFlow, resumedSessionContinuesWhereTheRecordsEnd)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2));
    rig.startReview(SortOperationMode::safeCopy);
    decideAll(rig, {PhotoDecision::keep});
    rig.vm().execution()->applySort();
    rig.vm().execution()->cancelExecution();
    waitForRunEnd(rig);

    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::confirmation; }));
    rig.settle();
    ASSERT_TRUE(rig.vm().execution()->canExecute()) << rig.vm().alertText().toStdString();
    rig.vm().execution()->retryPendingSort();
    waitForRunEnd(rig);
    EXPECT_EQ(rig.vm().execution()->lastSortResult()->organizedCount, 4);
    EXPECT_EQ(filesBelow(rig.vm().destinationFolderPath()).size(), 4);
}

namespace {

// Reads capture dates only when the test lets it, giving every photo it was asked about the
// same date.
struct GatedDates : MetadataEnriching {
    struct Call {
        QPromise<QList<PhotoItem>> promise;
        QList<PhotoItem> photos;
    };
    std::vector<std::unique_ptr<Call>> calls;

    QFuture<QList<PhotoItem>> enrich(QList<PhotoItem> photos) override
    {
        auto call = std::make_unique<Call>();
        call->photos = std::move(photos);
        call->promise.start();
        QFuture<QList<PhotoItem>> future = call->promise.future();
        calls.push_back(std::move(call));
        return future;
    }

    void release(const QDateTime& shot)
    {
        for (const auto& call : calls) {
            if (call->promise.future().isFinished())
                continue;
            for (PhotoItem& photo : call->photos)
                photo.captureDate = shot;
            call->promise.addResult(call->photos);
            call->promise.finish();
        }
    }
};

} // namespace

TEST(ExecutionFlow, runWaitsForCaptureDatesAlsoWhenResumedAtConfirmation)
{
    auto dates = std::make_shared<GatedDates>();
    WorkflowRig rig;
    rig.metadata = dates;
    rig.restart();
    rig.load(realShoot(rig.photoFolder, 2, 1));
    rig.startReview(SortOperationMode::safeCopy);
    decideAll(rig, {PhotoDecision::keep, PhotoDecision::maybe});

    // A review faster than the date reading: the run would sort by file dates.
    EXPECT_FALSE(rig.vm().execution()->canExecute());
    EXPECT_FALSE(rig.vm().loading()->executionWaitText().isEmpty());
    rig.vm().execution()->applySort();
    EXPECT_EQ(rig.vm().route(), AppRoute::confirmation);
    EXPECT_FALSE(rig.vm().execution()->isApplying());

    // Quit before the dates came; the resumed session reads them again before it may run.
    rig.restart();
    const size_t callsBefore = dates->calls.size();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    ASSERT_EQ(rig.vm().route(), AppRoute::confirmation);
    rig.settle();
    EXPECT_GT(dates->calls.size(), callsBefore);
    EXPECT_FALSE(rig.vm().execution()->canExecute());

    const QDateTime shot(QDate(2019, 5, 4), QTime(10, 30), Qt::UTC);
    dates->release(shot);
    ASSERT_TRUE(waitFor([&] { return rig.vm().execution()->canExecute(); })) << rig.vm().alertText().toStdString();
    EXPECT_TRUE(rig.vm().loading()->executionWaitText().isEmpty());
    rig.vm().execution()->applySort();
    waitForRunEnd(rig);
    const QStringList results = filesBelow(rig.vm().destinationFolderPath());
    EXPECT_EQ(results.size(), 5);
    for (const QString& file : results)
        EXPECT_TRUE(file.contains(QStringLiteral("/2019-05/"))) << file.toStdString();
}

TEST(ExecutionFlow, sessionDocumentIsNotOpenedUnderARunningTask)
{
    WorkflowRig rig;
    rig.load(realShoot(rig.photoFolder, 2));
    rig.startReview(SortOperationMode::safeCopy);
    decideAll(rig, {PhotoDecision::keep});
    const QString document = rig.tree.path(QStringLiteral("Sicherung.kestrava"));
    ASSERT_TRUE(rig.vm().sessionStage()->saveSessionDocument(document));
    const QUuid id = rig.vm().session()->id;
    EXPECT_TRUE(rig.vm().sessionStage()->canOpenSessionDocument());

    rig.vm().execution()->applySort();
    ASSERT_TRUE(rig.vm().execution()->isApplying());
    EXPECT_FALSE(rig.vm().sessionStage()->canOpenSessionDocument());
    EXPECT_FALSE(rig.vm().sessionStage()->openSessionDocument(document));
    EXPECT_FALSE(rig.vm().alertText().isEmpty());
    EXPECT_EQ(rig.vm().route(), AppRoute::executing);

    // The run ends as its own: result, final snapshot and all.
    waitForRunEnd(rig);
    EXPECT_EQ(rig.vm().route(), AppRoute::completed);
    EXPECT_EQ(rig.vm().execution()->lastSortResult()->organizedCount, 4);
    EXPECT_EQ(rig.store->loadSession(id).result().status, SortSessionStatus::completed);
    EXPECT_TRUE(rig.vm().sessionStage()->canOpenSessionDocument());
}
