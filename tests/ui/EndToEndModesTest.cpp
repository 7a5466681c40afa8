// The two modes that touch the originals, and a run stopped and resumed, through the real
// window: confirmation, the trash screens with both confirmations, execution and the completed
// screen, each checked against the files on disk. The Trash is a temporary XDG_DATA_HOME's.

#include "UiRig.h"

#include <QDir>
#include <QFileInfo>
#include <QQuickItem>
#include <QTest>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// Keep, maybe, reject, keep, reject, keep: 3 keep, 1 maybe, 2 rejected groups of JPEG + DNG.
const QList<int> mixedDecisions{Qt::Key_Up, Qt::Key_Right, Qt::Key_Down, Qt::Key_Up, Qt::Key_Down, Qt::Key_Up};

// The main window on the confirmation screen of a reviewed shoot of six pairs.
void reachConfirmation(UiRig& rig, const QString& mode, const QList<int>& keys)
{
    QQuickWindow* window = rig.openMainWindow();
    ASSERT_NE(window, nullptr);
    window->show();
    ASSERT_TRUE(waitUntil([&] { return window->isExposed(); }));
    rig.loadShoot();
    rig.configure(mode);
    rig.startReview();
    ASSERT_TRUE(rig.reviewWithKeys(keys));
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::confirmation; }));
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"executeButton"_s) != nullptr; }));
}

QStringList namesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

TEST(EndToEnd, moveOriginalsEmptiesTheShootIntoTheResultFolder)
{
    UiRig rig(6);
    reachConfirmation(rig, u"moveOriginals"_s, mixedDecisions);
    EXPECT_EQ(rig.textOf(u"executeButton"_s), u"Sortierung ausführen"_s);
    QObject* execute = rig.find(u"executeButton"_s);
    // Moving empties the card: the button waits for the tick.
    EXPECT_FALSE(execute->property("enabled").toBool());
    rig.click(rig.find(u"destructiveConfirmation"_s));
    ASSERT_TRUE(waitUntil([&] { return execute->property("enabled").toBool(); }));
    rig.click(execute);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::completed; }, 60000));

    // Keep, maybe and rejected files all move; nothing stays behind, nothing is lost.
    EXPECT_TRUE(photoFilesBelow(rig.shootFolder).isEmpty()) << photoFilesBelow(rig.shootFolder).join(u", "_s).toStdString();
    EXPECT_EQ(photoFilesBelow(rig.viewModel->destinationFolderPath()).size(), 12);
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"completedHeadline"_s) != nullptr; }));
    EXPECT_EQ(rig.textOf(u"completedHeadline"_s), u"Deine Fotos sind sortiert."_s);
    EXPECT_EQ(rig.textOf(u"resultCard_Organisiert"_s, "value"), u"12"_s);
    EXPECT_EQ(rig.find(u"pendingText"_s)->property("visible").toBool(), false);
}

TEST(EndToEnd, organizeAndTrashStagesThenTrashesOnlyAfterTheSecondConfirmation)
{
    UiRig rig(6);
    reachConfirmation(rig, u"organizeAndTrash"_s, mixedDecisions);
    const QStringList shoot = photoFilesBelow(rig.shootFolder);
    ASSERT_EQ(shoot.size(), 12);

    // First confirmation: the staging button waits for the tick.
    QObject* execute = rig.find(u"executeButton"_s);
    EXPECT_EQ(execute->property("text").toString(), u"Sicherheitsablage vorbereiten"_s);
    EXPECT_EQ(rig.viewModel->trash()->rejectedFileCount(), 4);
    EXPECT_FALSE(execute->property("enabled").toBool());
    rig.click(rig.find(u"destructiveConfirmation"_s));
    ASSERT_TRUE(waitUntil([&] { return execute->property("enabled").toBool(); }));
    rig.click(execute);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::trashConfirmation; }, 60000))
        << rawValue(rig.viewModel->route()).toStdString() << ": " << rig.viewModel->alertText().toStdString();

    // Safety copies exist, the originals are all still there, nothing is in the Trash yet.
    const QString trashFiles = rig.dataHome + u"/Trash/files"_s;
    EXPECT_EQ(photoFilesBelow(rig.shootFolder).size(), 4) << "kept and maybe files are organised first";
    EXPECT_TRUE(namesIn(trashFiles).isEmpty());
    const QString stagingRoot = rig.viewModel->trash()->preparedTrash()->stagingRoot.path();
    EXPECT_EQ(photoFilesBelow(stagingRoot).size(), 4);
    // A rejected shot's sidecar travels with it.
    const int staged = int(rig.viewModel->trash()->preparedTrash()->entries.size());
    EXPECT_GE(staged, 4);
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"commitTrashButton"_s) != nullptr; }));
    EXPECT_EQ(rig.textOf(u"volumeLine"_s),
              u"Gleiches Laufwerk: Schutz vor versehentlichem Löschen, nicht vor Laufwerksdefekt"_s);
    EXPECT_FALSE(rig.find(u"manualReviewText"_s)->property("visible").toBool());
    rig.click(rig.find(u"openSafetyFolderButton"_s));
    EXPECT_EQ(rig.desktop->revealed, QStringList{stagingRoot});

    // Second confirmation: the commit waits for its own tick.
    QObject* commit = rig.find(u"commitTrashButton"_s);
    EXPECT_FALSE(commit->property("enabled").toBool());
    rig.click(rig.find(u"trashCommitConfirmation"_s));
    ASSERT_TRUE(waitUntil([&] { return commit->property("enabled").toBool(); }));
    rig.click(commit);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::completed; }, 60000))
        << rig.viewModel->alertText().toStdString();

    // The rejected originals (four photos and their sidecars) are in the temporary Trash, each
    // with its info file naming where it came from; the organised files are in the result folder.
    EXPECT_TRUE(photoFilesBelow(rig.shootFolder).isEmpty());
    const QStringList trashed = namesIn(trashFiles);
    EXPECT_EQ(trashed.size(), staged);
    EXPECT_EQ(photoFilesBelow(trashFiles).size(), 4);
    for (const QString& name : trashed) {
        const QString info = QString::fromUtf8(readFile(rig.dataHome + u"/Trash/info/"_s + name + u".trashinfo"_s));
        EXPECT_TRUE(info.contains(u"Path="_s + QString::fromUtf8(QUrl::toPercentEncoding(rig.shootFolder, "/"))))
            << info.toStdString();
    }
    QStringList organised = photoFilesBelow(rig.viewModel->destinationFolderPath());
    organised.removeIf([](const QString& path) { return path.startsWith(u"Sicherheitsablage/"_s); });
    EXPECT_EQ(organised.size(), 8);

    ASSERT_TRUE(waitUntil([&] { return rig.find(u"completedHeadline"_s) != nullptr; }));
    EXPECT_EQ(rig.textOf(u"completedHeadline"_s), u"Deine Fotos sind sortiert."_s);
    EXPECT_EQ(rig.textOf(u"resultCard_Organisiert"_s, "value"), u"8"_s);
    EXPECT_EQ(rig.textOf(u"resultCard_Im Papierkorb"_s, "value"), QString::number(staged));
    EXPECT_EQ(rig.textOf(u"resultCard_Aussortiert belassen"_s, "value"), u"0"_s);
}

TEST(EndToEnd, cancelledRunResumesFromTheCompletedScreen)
{
    UiRig rig(6);
    reachConfirmation(rig, u"safeCopy"_s, {Qt::Key_Up, Qt::Key_Up, Qt::Key_Right, Qt::Key_Up, Qt::Key_Down, Qt::Key_Up});
    // The run is held when the second file's copy is flushed: the first file is done, the
    // rest waits, as when a person presses "Sicher abbrechen" while the run works.
    rig.fileOps.holdFromCopy = 2;
    QObject* execute = rig.find(u"executeButton"_s);
    ASSERT_TRUE(waitUntil([&] { return execute->property("enabled").toBool(); }));
    rig.click(execute);
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"cancelExecutionButton"_s) != nullptr; }));
    ASSERT_TRUE(waitUntil([&] { return rig.fileOps.holding.load() > 0; }));
    EXPECT_EQ(rig.textOf(u"phaseText"_s).isEmpty(), false);
    ASSERT_TRUE(waitUntil([&] { return rig.textOf(u"fileProgressCard"_s, "value").endsWith(u" / 12"_s); }))
        << rig.textOf(u"fileProgressCard"_s, "value").toStdString();
    rig.click(rig.find(u"cancelExecutionButton"_s));
    rig.fileOps.holdFromCopy = 0;
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::completed; }, 60000));

    // Stopped between files: what was copied is whole, the rest waits.
    const SortResult result = *rig.viewModel->execution()->lastSortResult();
    const int pending = result.pendingCount;
    ASSERT_GT(pending, 0) << "the run ended before the cancel arrived";
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"pendingText"_s) != nullptr; }));
    EXPECT_EQ(rig.textOf(u"completedHeadline"_s), u"Sortierung mit Hinweisen beendet."_s);
    EXPECT_EQ(rig.textOf(u"pendingText"_s),
              QString::number(pending) + u" Dateien sind ausstehend und können fortgesetzt werden."_s);
    const int copiedBefore = int(photoFilesBelow(rig.viewModel->destinationFolderPath()).size());
    EXPECT_GE(copiedBefore, 1);
    EXPECT_EQ(copiedBefore, result.organizedCount);

    // "Fortsetzen" finishes the rest; what was done is skipped, not copied twice.
    QObject* retry = rig.find(u"retryPendingButton"_s);
    ASSERT_NE(retry, nullptr);
    rig.click(retry);
    ASSERT_TRUE(waitUntil([&] {
        return rig.viewModel->route() == AppRoute::completed && !rig.viewModel->execution()->isApplying()
            && rig.viewModel->execution()->lastSortResult() && rig.viewModel->execution()->lastSortResult()->pendingCount == 0;
    }, 60000)) << rig.viewModel->alertText().toStdString();
    const SortResult resumed = *rig.viewModel->execution()->lastSortResult();
    EXPECT_EQ(resumed.skippedCount, copiedBefore);
    EXPECT_EQ(resumed.organizedCount, 12 - copiedBefore);
    EXPECT_EQ(photoFilesBelow(rig.viewModel->destinationFolderPath()).size(), 12);
    EXPECT_EQ(photoFilesBelow(rig.shootFolder).size(), 12);
    ASSERT_TRUE(waitUntil([&] { return rig.textOf(u"completedHeadline"_s) == u"Deine Fotos sind sortiert."_s; }));
    EXPECT_EQ(rig.textOf(u"resultCard_Bereits erledigt"_s, "value"), QString::number(copiedBefore));
}
