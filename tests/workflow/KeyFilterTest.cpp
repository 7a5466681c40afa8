// The arrow keys: the rule on its own, then the filter installed on the application with key
// presses sent to a real (offscreen) window.

#include "WorkflowRig.h"
#include "workflow/ReviewKeyFilter.h"

#include <QGuiApplication>
#include <QInputMethodQueryEvent>
#include <QKeyEvent>
#include <QWindow>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using Action = ReviewKeyFilter::Action;

TEST(KeyRule, auditListKeysLeaveTheArrowsToTheList)
{
    using Audit = ReviewKeyFilter::AuditAction;
    EXPECT_EQ(ReviewKeyFilter::auditActionFor(Qt::Key_1), Audit::keep);
    EXPECT_EQ(ReviewKeyFilter::auditActionFor(Qt::Key_3), Audit::del);
    EXPECT_EQ(ReviewKeyFilter::auditActionFor(Qt::Key_Enter), Audit::showLarge);
    // The arrows move the list's selection; they must never decide a row.
    for (int key : {Qt::Key_Up, Qt::Key_Down, Qt::Key_Left, Qt::Key_Right, Qt::Key_4})
        EXPECT_FALSE(ReviewKeyFilter::auditActionFor(key)) << key;
}

namespace {

QKeyEvent press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier, bool autoRepeat = false)
{
    return QKeyEvent(QEvent::KeyPress, key, modifiers, QString(), autoRepeat);
}

// A window whose focus object says it takes text input, like a focused text field.
class TextFieldWindow : public QWindow {
public:
    bool acceptsText = false;
    int keyPresses = 0;

protected:
    void keyPressEvent(QKeyEvent*) override { ++keyPresses; }

    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::InputMethodQuery) {
            auto* query = static_cast<QInputMethodQueryEvent*>(event);
            query->setValue(Qt::ImEnabled, acceptsText);
            query->accept();
            return true;
        }
        return QWindow::event(event);
    }
};

} // namespace

TEST(KeyRule, arrowsMapToDecisionsAndUndo)
{
    EXPECT_EQ(ReviewKeyFilter::actionFor(press(Qt::Key_Up), true, false), Action::keep);
    EXPECT_EQ(ReviewKeyFilter::actionFor(press(Qt::Key_Right), true, false), Action::maybe);
    EXPECT_EQ(ReviewKeyFilter::actionFor(press(Qt::Key_Down), true, false), Action::del);
    EXPECT_EQ(ReviewKeyFilter::actionFor(press(Qt::Key_Left), true, false), Action::undo);
    EXPECT_EQ(ReviewKeyFilter::actionFor(press(Qt::Key_P), true, false), Action::togglePeaking);
    EXPECT_EQ(ReviewKeyFilter::actionFor(press(Qt::Key_S), true, false), Action::decideSeries);
    EXPECT_FALSE(ReviewKeyFilter::actionFor(press(Qt::Key_S, Qt::ControlModifier), true, false)); // saves the session
    // A "p" typed into a search field stays a letter.
    EXPECT_FALSE(ReviewKeyFilter::actionFor(press(Qt::Key_P), true, true));
    EXPECT_FALSE(ReviewKeyFilter::actionFor(press(Qt::Key_Space), true, false));
    EXPECT_FALSE(ReviewKeyFilter::actionFor(press(Qt::Key_Up), false, false));
}

TEST(KeyRule, heldKeysCommandModifiersAndTextFocusPassOn)
{
    EXPECT_FALSE(ReviewKeyFilter::actionFor(press(Qt::Key_Up, Qt::NoModifier, true), true, false));
    for (auto modifier : {Qt::ControlModifier, Qt::AltModifier, Qt::MetaModifier})
        EXPECT_FALSE(ReviewKeyFilter::actionFor(press(Qt::Key_Down, modifier), true, false));
    EXPECT_FALSE(ReviewKeyFilter::actionFor(press(Qt::Key_Down, Qt::ShiftModifier | Qt::ControlModifier), true, false));
    EXPECT_EQ(ReviewKeyFilter::actionFor(press(Qt::Key_Down, Qt::ShiftModifier), true, false), Action::del);
    EXPECT_EQ(ReviewKeyFilter::actionFor(press(Qt::Key_Down, Qt::KeypadModifier), true, false), Action::del);
    EXPECT_FALSE(ReviewKeyFilter::actionFor(press(Qt::Key_Left), true, true));
}

TEST(KeyFilter, arrowKeysDecideOnlyDuringReview)
{
    WorkflowRig rig(WorkflowRig::Persistence::none);
    rig.load(shoot(rig.photoFolder, 0, 3));
    rig.vm().review()->installArrowKeyMonitor();
    rig.vm().review()->installArrowKeyMonitor();
    EXPECT_TRUE(rig.vm().review()->hasArrowKeyMonitor());

    TextFieldWindow window;
    auto send = [&](int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier, bool autoRepeat = false) {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, QString(), autoRepeat);
        // Consumed by the filter exactly when the window itself never sees it.
        const int before = window.keyPresses;
        QCoreApplication::sendEvent(&window, &event);
        return window.keyPresses == before;
    };

    // Setup screen: the key reaches the window and nothing is decided.
    EXPECT_FALSE(send(Qt::Key_Up));
    rig.startReview();
    rig.markPreviewVisible();
    EXPECT_TRUE(send(Qt::Key_Up));
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 1);
    EXPECT_EQ(rig.vm().review()->currentIndex(), 1);

    // Held down: the repeats decide nothing more.
    rig.markPreviewVisible();
    EXPECT_FALSE(send(Qt::Key_Down, Qt::NoModifier, true));
    EXPECT_FALSE(send(Qt::Key_Down, Qt::ControlModifier));
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 1);
    EXPECT_TRUE(send(Qt::Key_Down, Qt::ShiftModifier));
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::del), 1);

    // Before the next picture is shown the key is consumed without effect.
    EXPECT_TRUE(send(Qt::Key_Right));
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 2);

    // The audit window has its own buttons.
    rig.vm().audit()->setPresented(true);
    EXPECT_FALSE(send(Qt::Key_Left));
    rig.vm().audit()->setPresented(false);
    EXPECT_TRUE(send(Qt::Key_Left));
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 1);

    rig.vm().review()->removeArrowKeyMonitor();
    rig.vm().review()->removeArrowKeyMonitor();
    EXPECT_FALSE(rig.vm().review()->hasArrowKeyMonitor());
    rig.markPreviewVisible();
    EXPECT_FALSE(send(Qt::Key_Up));
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 1);
}

TEST(KeyFilter, typingInATextFieldDecidesNothing)
{
    WorkflowRig rig(WorkflowRig::Persistence::none);
    rig.load(shoot(rig.photoFolder, 0, 2));
    rig.startReview();
    rig.vm().review()->installArrowKeyMonitor();
    TextFieldWindow window;
    window.acceptsText = true;
    window.show();
    window.requestActivate();
    if (!waitFor([&] { return QGuiApplication::focusWindow() == &window; }, 10000))
        GTEST_SKIP() << "the platform plugin gives no window focus";
    EXPECT_TRUE(ReviewKeyFilter::focusAcceptsTextInput());
    rig.markPreviewVisible();
    QKeyEvent event(QEvent::KeyPress, Qt::Key_Up, Qt::NoModifier);
    QCoreApplication::sendEvent(&window, &event);
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 0);

    window.acceptsText = false;
    EXPECT_FALSE(ReviewKeyFilter::focusAcceptsTextInput());
    QKeyEvent again(QEvent::KeyPress, Qt::Key_Up, Qt::NoModifier);
    QCoreApplication::sendEvent(&window, &again);
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 1);
}
