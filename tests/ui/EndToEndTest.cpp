// The whole flow through the real window, driven only as a person would: clicks on the setup
// screen, typing the folder name, arrow keys while reviewing, the audit window's confirm
// button, then confirmation, execution, the result folder on disk and the completed screen with
// its report, log and file-manager buttons.

#include "UiRig.h"

#include <QFileInfo>
#include <QQuickItem>
#include <QTest>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

TEST(EndToEnd, fromWelcomeToTheResultFolder)
{
    UiRig rig(6);
    QQuickWindow* window = rig.openMainWindow();
    ASSERT_NE(window, nullptr);
    window->show();
    ASSERT_TRUE(waitUntil([&] { return window->isExposed(); }));
    ASSERT_NE(rig.find(u"chooseSourceButton"_s), nullptr);

    // The folder dialog hands this path to the view model.
    rig.viewModel->load(rig.shootFolder);
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"startReviewButton"_s) != nullptr; }));
    QObject* start = rig.find(u"startReviewButton"_s);
    EXPECT_FALSE(start->property("enabled").toBool());

    rig.click(rig.find(u"reviewChoice_both"_s));
    rig.click(rig.find(u"mode_safeCopy"_s));
    rig.viewModel->setDestinationBaseFolder(rig.destinationBase); // from the folder dialog
    // The view model proposes a name; the person replaces it.
    QMetaObject::invokeMethod(rig.find(u"runFolderNameField"_s), "forceActiveFocus");
    QTest::keyClick(window, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(window, Qt::Key_Backspace);
    ASSERT_TRUE(waitUntil([&] { return !start->property("enabled").toBool(); })) << "an empty name must not start";
    for (char c : QByteArray("Ende zu Ende"))
        QTest::keyClick(window, c);
    ASSERT_TRUE(waitUntil([&] { return start->property("enabled").toBool(); }));
    EXPECT_EQ(rig.viewModel->runFolderName(), u"Ende zu Ende"_s);
    rig.click(start);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::reviewing; }));

    // Review with arrow keys only: keep, maybe, reject, and one taken back and redone.
    const int groups = rig.viewModel->review()->reviewGroupCount();
    ASSERT_EQ(groups, 6);
    const int keys[] = {Qt::Key_Up, Qt::Key_Right, Qt::Key_Down, Qt::Key_Left, Qt::Key_Down, Qt::Key_Up, Qt::Key_Up, Qt::Key_Right};
    for (int key : keys) {
        ASSERT_TRUE(waitUntil([&] { return rig.viewModel->review()->isPreviewReady() && !rig.viewModel->review()->isCommittingDecision(); }, 60000))
            << "picture not on screen before key " << key;
        rig.press(window, key);
        ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->review()->isCommittingDecision(); }));
    }
    EXPECT_EQ(rig.viewModel->review()->classifiedCount(), 6);

    // Everything decided: the review moves on to the confirmation by itself.
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::confirmation; }));

    // Back once more to check the list, then confirm from the audit window.
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"returnToReviewButton"_s) != nullptr; }));
    rig.click(rig.find(u"returnToReviewButton"_s));
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::reviewing; }));
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"auditLink"_s) != nullptr; }));
    rig.click(rig.find(u"auditLink"_s));
    ASSERT_TRUE(waitUntil([&] { return rig.auditWindow() != nullptr; }, 60000));
    EXPECT_TRUE(rig.viewModel->audit()->isPresented());
    EXPECT_FALSE(rig.viewModel->review()->acceptsReviewShortcuts());
    QObject* confirm = rig.find(u"confirmSelectionButton"_s);
    ASSERT_NE(confirm, nullptr);
    rig.click(confirm);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::confirmation; }));
    ASSERT_TRUE(waitUntil([&] { return rig.auditWindow() == nullptr; }));

    QObject* execute = rig.find(u"executeButton"_s);
    ASSERT_NE(execute, nullptr);
    ASSERT_TRUE(waitUntil([&] { return execute->property("enabled").toBool(); })) << "a decided safe copy must be executable";
    const QStringList originalsBefore = photoFilesBelow(rig.shootFolder);
    rig.click(execute);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::completed; }, 60000));

    // Every reviewed file was copied into the result folder; the originals are untouched.
    EXPECT_EQ(photoFilesBelow(rig.viewModel->destinationFolderPath()).size(), 12);
    EXPECT_EQ(photoFilesBelow(rig.shootFolder), originalsBefore);

    // The completed screen says so, in cards computed from the result.
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"completedHeadline"_s) != nullptr; }));
    EXPECT_EQ(rig.textOf(u"completedHeadline"_s), u"Deine Fotos sind sortiert."_s);
    EXPECT_EQ(rig.textOf(u"resultCard_Organisiert"_s, "value"), u"12"_s);
    EXPECT_EQ(rig.textOf(u"resultCard_Fehler"_s, "value"), u"0"_s);
    EXPECT_EQ(rig.find(u"resultCard_Im Papierkorb"_s), nullptr) << "no trash card for a copy";

    // "Im Dateimanager öffnen" shows the result folder; "Log anzeigen" opens the run's log.
    rig.click(rig.find(u"revealResultButton"_s));
    EXPECT_EQ(rig.desktop->revealed, QStringList{rig.viewModel->destinationFolderPath()});
    rig.click(rig.find(u"showLogButton"_s));
    ASSERT_EQ(rig.desktop->opened.size(), 1);
    EXPECT_TRUE(rig.desktop->opened.first().endsWith(u".execution.log"_s)) << rig.desktop->opened.first().toStdString();

    // "Bericht speichern" goes through the file dialog, typed into in DialogTest.cpp.
    EXPECT_EQ(rig.textOf(u"resultFolderPath"_s), u"Ergebnisordner: "_s + rig.viewModel->destinationFolderPath());

    // A new sort starts over on the welcome screen.
    rig.click(rig.find(u"newSortButton"_s));
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::welcome; }));
}
