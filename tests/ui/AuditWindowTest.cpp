// The audit window and the main window behind it, driven by keys and clicks: every answer
// appears where the person is looking.

#include "UiRig.h"
#include "workflow/AuditStage.h"

#include <QTest>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

bool isOpen(QObject* popup) { return popup && popup->property("opened").toBool(); }

struct AuditWindowFixture : ::testing::Test {
    UiRig rig{3};
    QQuickWindow* main = nullptr;

    void SetUp() override
    {
        main = rig.openMainWindow();
        ASSERT_NE(main, nullptr);
        main->show();
        rig.loadShoot();
        rig.configure();
        rig.startReview();
    }

    QQuickWindow* openAudit()
    {
        rig.viewModel->audit()->request();
        EXPECT_TRUE(waitUntil([&] { return rig.auditWindow() != nullptr; }));
        QQuickWindow* audit = rig.auditWindow();
        if (audit) {
            audit->requestActivate();
            EXPECT_TRUE(waitUntil([&] { return audit->isActive(); }));
        }
        return audit;
    }
};

} // namespace

TEST_F(AuditWindowFixture, theMainWindowSaysWhyItsKeysRestAndEscapeThereEndsTheAudit)
{
    EXPECT_TRUE(rig.textOf(QStringLiteral("reviewPausedHint")).isEmpty());
    QQuickWindow* audit = openAudit();
    ASSERT_NE(audit, nullptr);
    main->requestActivate();
    ASSERT_TRUE(waitUntil([&] { return main->isActive(); }));
    EXPECT_FALSE(rig.textOf(QStringLiteral("reviewPausedHint")).isEmpty());

    rig.press(main, Qt::Key_Escape);
    EXPECT_TRUE(waitUntil([&] { return rig.auditWindow() == nullptr; }));
    EXPECT_TRUE(rig.textOf(QStringLiteral("reviewPausedHint")).isEmpty());
    EXPECT_TRUE(rig.reviewWithKeys({Qt::Key_Right})) << "the review keys work again";
    EXPECT_EQ(rig.viewModel->review()->classifiedCount(), 1);
}

TEST_F(AuditWindowFixture, aRefusedConfirmationAnswersInTheAuditWindowAndEnterAcceptsIt)
{
    QQuickWindow* audit = openAudit();
    ASSERT_NE(audit, nullptr);
    rig.click(rig.find(QStringLiteral("confirmSelectionButton")));
    ASSERT_TRUE(rig.viewModel->alertMessage().has_value()) << "open shots refuse the confirmation";
    EXPECT_TRUE(waitUntil([&] { return isOpen(rig.find(QStringLiteral("auditAlert"))); }));
    EXPECT_FALSE(isOpen(rig.find(QStringLiteral("mainAlert")))) << "not behind the window the person looks at";

    rig.press(audit, Qt::Key_Return);
    EXPECT_TRUE(waitUntil([&] { return !rig.viewModel->alertMessage().has_value(); }));
    EXPECT_TRUE(waitUntil([&] { return !isOpen(rig.find(QStringLiteral("auditAlert"))); }));
}

TEST_F(AuditWindowFixture, showingARowLargeAndConfirmingBringTheMainWindowForward)
{
    QQuickWindow* audit = openAudit();
    ASSERT_NE(audit, nullptr);
    rig.press(audit, Qt::Key_Down);
    rig.press(audit, Qt::Key_Down);
    rig.press(audit, Qt::Key_Return);
    EXPECT_EQ(rig.viewModel->review()->currentIndex(), 2);
    EXPECT_TRUE(waitUntil([&] { return main->isActive(); })) << "the shot is shown where it can be seen";

    audit->requestActivate();
    ASSERT_TRUE(waitUntil([&] { return audit->isActive(); }));
    for (int row = 2; row >= 0; --row) { // from the row shown large up to the first
        rig.press(audit, Qt::Key_1);
        ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->review()->isCommittingDecision(); }));
        rig.press(audit, Qt::Key_Up);
    }
    ASSERT_EQ(rig.viewModel->review()->classifiedCount(), 3);
    rig.click(rig.find(QStringLiteral("confirmSelectionButton")));
    EXPECT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::confirmation; }));
    EXPECT_TRUE(waitUntil([&] { return rig.auditWindow() == nullptr && main->isActive(); }));
}
