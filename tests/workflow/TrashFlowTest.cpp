// The trash mode from the view model: organise, stage, second confirmation, commit; deferral
// and resumption; nothing reaches the Trash without both confirmations.

#include "WorkflowRig.h"

#include "trash/DurableTrashJournal.h"
#include "trash/FreedesktopTrash.h"

#include <QDir>
#include <QDirIterator>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using State = TrashTransactionState;

namespace {

// A Trash inside the test's folder instead of the user's.
class TrashFlow : public ::testing::Test {
protected:
    void SetUp() override
    {
        previous = qgetenv("XDG_DATA_HOME");
        qputenv("XDG_DATA_HOME", rig.tree.mkdir(QStringLiteral("xdg")).toUtf8());
        QList<PhotoItem> items = shoot(rig.photoFolder, 3);
        for (const PhotoItem& item : items) {
            QByteArray bytes = item.relativePath.toUtf8();
            bytes.append(QByteArray(int(item.fileSize) - bytes.size(), 'x'));
            writeFile(item.sourceURL.path(), bytes);
            QFile file(item.sourceURL.path());
            ASSERT_TRUE(file.open(QIODevice::ReadWrite));
            ASSERT_TRUE(file.setFileTime(item.modificationDate, QFileDevice::FileModificationTime));
        }
        rig.load(items);
        rig.startReview(SortOperationMode::organizeAndTrash);
        // Shot 1 kept, shots 2 and 3 rejected: four originals go to the Trash.
        for (PhotoDecision decision : {PhotoDecision::keep, PhotoDecision::del, PhotoDecision::del})
            rig.decide(decision);
        ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::confirmation; }));
        rig.settle();
        rig.vm().setDestructiveConfirmationAccepted(true);
    }

    void TearDown() override { qputenv("XDG_DATA_HOME", previous); }

    void waitForTask()
    {
        ASSERT_TRUE(waitFor([&] { return !rig.vm().execution()->isApplying(); }, 30000));
        rig.settle();
    }

    void stage()
    {
        EXPECT_EQ(rig.vm().trash()->rejectedFileCount(), 4);
        rig.vm().execution()->applySort();
        EXPECT_EQ(rig.vm().route(), AppRoute::trashStaging);
        ASSERT_TRUE(rig.vm().execution()->progress());
        EXPECT_EQ(rig.vm().execution()->progress()->totalFiles, 2) << "the kept pair is organised; rejected files are counted when staged";
        EXPECT_EQ(rig.vm().execution()->progressTitle(), QStringLiteral("Sicherheitsablage wird vorbereitet"));
        waitForTask();
        ASSERT_EQ(rig.vm().route(), AppRoute::trashConfirmation) << rig.vm().alertText().toStdString();
    }

    int originalsInPlace() const { return int(QDir(rig.photoFolder).entryList(QDir::Files).size()); }

    int filesInTrash() const
    {
        return int(QDir(rig.tree.path(QStringLiteral("xdg/Trash/files"))).entryList(QDir::Files).size());
    }

    WorkflowRig rig;
    QByteArray previous;
};

} // namespace

TEST_F(TrashFlow, bothConfirmationsMoveTheRejectedOriginalsAndNothingElse)
{
    stage();
    const TrashPreparation staged = *rig.vm().trash()->preparedTrash();
    ASSERT_EQ(staged.entries.size(), 4);
    ASSERT_TRUE(rig.vm().execution()->progress());
    EXPECT_EQ(rig.vm().execution()->progress()->completedFiles, 4) << "the staging screen counted every safety copy";
    EXPECT_EQ(rig.vm().execution()->progress()->totalFiles, 4);
    EXPECT_EQ(rig.vm().execution()->progress()->completedBytes, staged.totalBytes());
    for (const TrashEntry& entry : staged.entries) {
        EXPECT_EQ(entry.state, State::stagedVerified);
        EXPECT_TRUE(QFile::exists(entry.stagingURL.path()));
        EXPECT_TRUE(QFile::exists(entry.sourceURL.path())) << "staging touches no original";
    }
    EXPECT_TRUE(staged.stagingRoot.path().startsWith(rig.vm().destinationFolderPath() + QLatin1String("/Sicherheitsablage/")));
    EXPECT_EQ(rig.vm().session()->trashPreparation, staged) << "the session carries the transaction";
    // One line per volume of originals, in words; nothing waits for a person yet.
    EXPECT_EQ(rig.vm().trash()->sourceVolumeLines().size(), staged.sourceVolumes.size());
    EXPECT_FALSE(rig.vm().trash()->sourceVolumeLines().isEmpty());
    EXPECT_TRUE(rig.vm().trash()->sourceVolumeLines().first().startsWith(QStringLiteral("Originale auf ")));
    EXPECT_EQ(rig.vm().trash()->manualReviewCount(), 0);

    // The screen says what is true: the kept pair has moved, the rejected originals have not,
    // and it lists exactly the files that will go.
    EXPECT_TRUE(rig.vm().trash()->trashConfirmationLead().contains(QStringLiteral("bereits in den Zielordner verschoben")));
    QStringList listed = rig.vm().trash()->trashFileNames();
    QStringList expected;
    for (const TrashEntry& entry : staged.entries)
        expected.append(entry.sourceURL.fileName());
    listed.sort();
    expected.sort();
    EXPECT_EQ(listed, expected);
    EXPECT_TRUE(rig.vm().trash()->trashFilesTitle().startsWith(QStringLiteral("4 ")));

    // Without the second confirmation nothing moves.
    EXPECT_FALSE(rig.vm().trash()->canCommitTrash());
    rig.vm().trash()->commitPreparedTrash();
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Bitte bestätige zuerst die zweite Sicherheitswarnung."));
    EXPECT_EQ(originalsInPlace(), 4) << "kept pair moved to the result, rejected ones still here";
    EXPECT_EQ(filesInTrash(), 0);

    rig.vm().setTrashCommitConfirmationAccepted(true);
    ASSERT_TRUE(rig.vm().trash()->canCommitTrash());
    rig.vm().trash()->commitPreparedTrash();
    EXPECT_EQ(rig.vm().route(), AppRoute::executing);
    EXPECT_FALSE(rig.vm().trash()->canCommitTrash()) << "not twice at once";
    waitForTask();

    ASSERT_EQ(rig.vm().route(), AppRoute::completed) << rig.vm().alertText().toStdString();
    EXPECT_EQ(rig.vm().execution()->lastSortResult()->organizedCount, 2);
    EXPECT_EQ(rig.vm().execution()->lastSortResult()->trashedCount, 4);
    EXPECT_EQ(rig.vm().execution()->progress()->completedFiles, 4) << "the screen counted every moved original";
    EXPECT_EQ(originalsInPlace(), 0);
    EXPECT_EQ(filesInTrash(), 4);
    for (const TrashEntry& entry : rig.vm().trash()->preparedTrash()->entries) {
        EXPECT_EQ(entry.state, State::stageCleaned);
        EXPECT_FALSE(QFile::exists(entry.stagingURL.path())) << "copies go once the group is in the Trash";
    }
    EXPECT_TRUE(rig.vm().execution()->reportText().contains(QLatin1String("\nPapierkorb: 4\n")));
    EXPECT_FALSE(rig.store->loadLatestIncomplete().result().has_value()) << "the session is completed";
}

TEST_F(TrashFlow, deferredTransactionWaitsAndResumesFromTheJournal)
{
    stage();
    rig.vm().trash()->deferPreparedTrash();
    waitForTask();
    EXPECT_EQ(rig.vm().route(), AppRoute::welcome);
    EXPECT_TRUE(rig.vm().sessionStage()->hasResumableSession());
    EXPECT_EQ(originalsInPlace(), 4);

    // A new process finds the parked transaction; the journal says every entry is deferred.
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::trashConfirmation && !rig.vm().execution()->isApplying(); }));
    for (const TrashEntry& entry : rig.vm().trash()->preparedTrash()->entries)
        EXPECT_EQ(entry.state, State::deferred);
    EXPECT_FALSE(rig.vm().execution()->canExecute()) << "staged copies are not staged a second time";

    rig.vm().setTrashCommitConfirmationAccepted(true);
    ASSERT_TRUE(rig.vm().trash()->canCommitTrash()) << "deferred entries may be committed";
    rig.vm().trash()->commitPreparedTrash();
    waitForTask();
    EXPECT_EQ(rig.vm().route(), AppRoute::completed) << rig.vm().alertText().toStdString();
    EXPECT_EQ(filesInTrash(), 4);
}

TEST_F(TrashFlow, journalThatCannotBeTrustedBlocksTheCommit)
{
    stage();
    const QString journal = QDir(rig.storeFolder).filePath(rig.vm().session()->id.toString(QUuid::WithoutBraces).toUpper()
                                                           + QLatin1String("/trash-v1.jsonl"));
    ASSERT_TRUE(QFile::exists(journal));
    rig.restart();
    swapLines(journal, 0, 1);
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    ASSERT_TRUE(waitFor([&] { return rig.vm().alertText().startsWith(QLatin1String("Das Papierkorb-Journal")); }));
    rig.vm().setTrashCommitConfirmationAccepted(true);
    EXPECT_FALSE(rig.vm().trash()->canCommitTrash());
    // The tick is there; what stops the commit is the journal, and that is what it says.
    rig.vm().trash()->commitPreparedTrash();
    EXPECT_NE(rig.vm().alertText(), QStringLiteral("Bitte bestätige zuerst die zweite Sicherheitswarnung."));
    EXPECT_TRUE(rig.vm().alertText().contains(QStringLiteral("Sicherheitsjournal"))) << rig.vm().alertText().toStdString();
    EXPECT_EQ(originalsInPlace(), 4);
    EXPECT_EQ(filesInTrash(), 0);
}

// The window after a commit that died between moving a file and recording it: the journal
// says the move was announced, the Trash holds the file. Resumed and confirmed, the commit
// settles that file without moving it again and moves the rest.
TEST_F(TrashFlow, commitInterruptedByACrashIsFinishedFromTheWindow)
{
    stage();
    const TrashPreparation staged = *rig.vm().trash()->preparedTrash();
    {
        DurableTrashJournal journal(rig.storeFolder, staged.sessionID);
        journal.append(State::trashIntent, staged.entries[0], staged.sessionID);
        FreedesktopTrashService().trash(staged.entries[0].sourceURL);
        journal.append(State::trashIntent, staged.entries[1], staged.sessionID);
    }
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::trashConfirmation && !rig.vm().execution()->isApplying(); }));
    rig.vm().setTrashCommitConfirmationAccepted(true);
    ASSERT_TRUE(rig.vm().trash()->canCommitTrash()) << rig.vm().alertText().toStdString();
    rig.vm().trash()->commitPreparedTrash();
    waitForTask();
    EXPECT_EQ(rig.vm().route(), AppRoute::completed) << rig.vm().alertText().toStdString();
    EXPECT_EQ(filesInTrash(), 4);
    EXPECT_EQ(originalsInPlace(), 0);
    for (const TrashEntry& entry : rig.vm().trash()->preparedTrash()->entries)
        EXPECT_EQ(entry.state, State::stageCleaned);
}

// A saved session document edited to point a staged entry at a file outside the shoot: the
// window names the file on opening, and the commit never moves it.
TEST_F(TrashFlow, openedDocumentNamingAFileOutsideTheShootIsRefusedByName)
{
    stage();
    const QString document = rig.tree.path(QStringLiteral("sitzung.kestrava"));
    ASSERT_TRUE(rig.vm().sessionStage()->saveSessionDocument(document));
    const QString letter = rig.tree.write(QStringLiteral("Dokumente/brief.jpg"), "Lieber Max");
    QByteArray text = readFile(document);
    const QString firstSource = rig.vm().trash()->preparedTrash()->entries[0].sourceURL.toUrlString();
    const qsizetype at = text.indexOf(firstSource.toUtf8(), text.indexOf("trashPreparation"));
    ASSERT_GE(at, 0);
    text.replace(at, firstSource.toUtf8().size(), FileUrl::fromLocalPath(letter).toUrlString().toUtf8());
    rig.tree.write(QDir(rig.tree.root()).relativeFilePath(document), text);

    rig.restart();
    ASSERT_TRUE(rig.vm().sessionStage()->openSessionDocument(document));
    // The load's note comes first; the refusal waits behind it and is never hidden by it.
    EXPECT_TRUE(rig.vm().alertText().contains(QStringLiteral("geladen"))) << rig.vm().alertText().toStdString();
    rig.vm().dismissAlert();
    EXPECT_TRUE(rig.vm().alertText().contains(QStringLiteral("„brief.jpg“"))) << rig.vm().alertText().toStdString();
    ASSERT_TRUE(waitFor([&] { return !rig.vm().execution()->isApplying(); }));
    rig.vm().setTrashCommitConfirmationAccepted(true);
    if (rig.vm().trash()->canCommitTrash()) {
        rig.vm().trash()->commitPreparedTrash();
        waitForTask();
    }
    EXPECT_EQ(readFile(letter), QByteArray("Lieber Max"));
}
