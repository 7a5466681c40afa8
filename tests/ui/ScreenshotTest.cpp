// A PNG of every screen in <build>/screenshots, made the way a person would reach it, so the
// screens can be looked at after each build. The review shot shows a real decoded preview.

#include "UiRig.h"

#include <QFileInfo>
#include <QImage>
#include <QQuickItem>
#include <QTest>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// A screenshot that is one flat colour shows nothing: the screen failed to build.
void expectPainted(const QString& path)
{
    const QImage image(path);
    ASSERT_FALSE(image.isNull()) << path.toStdString();
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 7)
        for (int x = 0; x < image.width(); x += 7)
            colours.insert(image.pixel(x, y));
    EXPECT_GT(colours.size(), 8) << "almost blank: " << path.toStdString();
}

} // namespace

TEST(Screenshots, everyScreenOfTheFlow)
{
    UiRig rig(12);
    QQuickWindow* window = rig.openMainWindow();
    ASSERT_NE(window, nullptr);
    window->show();
    ASSERT_TRUE(waitUntil([&] { return window->isExposed(); }));
    expectPainted(rig.screenshot(window, u"01-welcome"_s));

    rig.scanGate->store(false);
    rig.viewModel->loading()->load(rig.shootFolder);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::scanning; }));
    expectPainted(rig.screenshot(window, u"02-scanning"_s));
    rig.scanGate->store(true);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::setup; }));
    expectPainted(rig.screenshot(window, u"03-setup-empty"_s));

    rig.configure();
    rig.viewModel->setup()->setAdvancedOptionsVisible(true);
    expectPainted(rig.screenshot(window, u"03-setup-complete"_s));

    rig.startReview();
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->review()->isPreviewReady(); }, 60000)) << "no preview reached the screen";
    expectPainted(rig.screenshot(window, u"04-review"_s));

    rig.press(window, Qt::Key_Up);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->review()->currentIndex() == 1 && rig.viewModel->review()->isPreviewReady(); }, 60000));
    expectPainted(rig.screenshot(window, u"04-review-after-keep"_s));

    rig.press(window, Qt::Key_Z);
    expectPainted(rig.screenshot(window, u"04-review-100-percent"_s));
    rig.press(window, Qt::Key_Z);

    rig.viewModel->audit()->request();
    ASSERT_TRUE(waitUntil([&] { return rig.auditWindow() != nullptr; }));
    QQuickWindow* audit = rig.auditWindow();
    ASSERT_TRUE(waitUntil([&] { return audit->isExposed(); }));
    QTest::qWait(400); // thumbnails
    expectPainted(rig.screenshot(audit, u"05-audit"_s));

    // Every third group rejected, so the trash screens have something to show.
    int position = 0;
    for (const ReviewGroup& group : rig.viewModel->review()->effectiveReviewGroups()) {
        const int n = position++ % 3;
        rig.viewModel->review()->reclassify(n == 0 ? PhotoDecision::keep : n == 1 ? PhotoDecision::maybe : PhotoDecision::del, group.id);
        ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->review()->isCommittingDecision(); }));
    }
    rig.screenshot(audit, u"05-audit-decided"_s);
    rig.viewModel->review()->beginCompletionFlow();
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::confirmation; }));
    expectPainted(rig.screenshot(window, u"06-confirmation-safeCopy"_s));
    rig.viewModel->selectOperationMode(SortOperationMode::organizeAndTrash);
    rig.viewModel->setDestructiveConfirmationAccepted(true);
    expectPainted(rig.screenshot(window, u"06-confirmation-organizeAndTrash"_s));

    // The real trash flow, slowed per file so that its working screens can be caught.
    rig.fileOps.delayMs = 120;
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->execution()->canExecute(); }));
    rig.viewModel->execution()->applySort();
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->execution()->progress() && rig.viewModel->execution()->progress()->completedFiles >= 2; }, 60000));
    expectPainted(rig.screenshot(window, u"07-trash-staging"_s));
    rig.fileOps.delayMs = 0;
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::trashConfirmation; }, 60000))
        << rig.viewModel->alertText().toStdString();
    rig.viewModel->setTrashCommitConfirmationAccepted(true);
    expectPainted(rig.screenshot(window, u"07-trash-confirmation"_s));

    rig.fileOps.delayMs = 300;
    rig.viewModel->trash()->commitPreparedTrash();
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::executing; }));
    QTest::qWait(400);
    expectPainted(rig.screenshot(window, u"08-executing"_s));
    rig.fileOps.delayMs = 0;
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::completed; }, 60000))
        << rig.viewModel->alertText().toStdString();
    expectPainted(rig.screenshot(window, u"09-completed"_s));
}
