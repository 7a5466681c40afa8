// Qt Quick tests of the screens. Each test file gets an engine prepared like the program's,
// with a view model over a freshly generated shoot; the QML side drives it through `Rig`.

#include "UiRig.h"
#include "ui/UiEngine.h"

#include <QQmlContext>
#include <QQmlEngine>
#include <QTest>
#include <QtQuickTest>

using namespace kestrava;
using namespace kestrava::test;

// What a test file may ask of the C++ side: a shoot to load and the setup it needs.
class QuickRig : public QObject {
    Q_OBJECT
public:
    explicit QuickRig(QObject* parent = nullptr) : QObject(parent) {}

    void reset()
    {
        rig.reset();
        rig = std::make_unique<UiRig>(6);
    }
    UiRig& current() { return *rig; }

    Q_INVOKABLE bool loadShoot()
    {
        rig->loadShoot();
        return rig->viewModel->route() == AppRoute::setup;
    }
    Q_INVOKABLE void configure(const QString& mode) { rig->configure(mode); }
    Q_INVOKABLE bool startReview()
    {
        rig->startReview();
        return rig->viewModel->route() == AppRoute::reviewing;
    }
    // Key presses into another window than the test's own (the audit window).
    Q_INVOKABLE void pressIn(QObject* window, int key, int modifiers = 0)
    {
        if (auto* target = qobject_cast<QWindow*>(window))
            QTest::keyClick(target, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
    }
    Q_INVOKABLE QString shootFolder() const { return rig->shootFolder; }
    Q_INVOKABLE QString destinationBase() const { return rig->destinationBase; }
    Q_INVOKABLE bool waitForPreview(int timeoutMs)
    {
        return waitUntil([&] { return rig->viewModel->review()->isPreviewReady(); }, timeoutMs);
    }
    // Decides every group the same way through the view model, as the audit list would.
    Q_INVOKABLE bool decideAll(const QString& decision)
    {
        for (const ReviewGroup& group : rig->viewModel->review()->effectiveReviewGroups()) {
            rig->viewModel->review()->reclassify(decision, group.id);
            if (!waitForSettled(60000))
                return false;
        }
        return true;
    }
    Q_INVOKABLE bool waitForSettled(int timeoutMs)
    {
        return waitUntil([&] { return !rig->viewModel->review()->isCommittingDecision(); }, timeoutMs);
    }

private:
    std::unique_ptr<UiRig> rig;
};

class Setup : public QObject {
    Q_OBJECT
public slots:
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        // One rig per test file: every file starts from the welcome screen.
        quickRig.reset();
        configureEngine(*engine, quickRig.current().viewModel.get(), quickRig.current().shell.get());
        engine->rootContext()->setContextProperty(QStringLiteral("Rig"), &quickRig);
    }

private:
    QuickRig quickRig;
};

QUICK_TEST_MAIN_WITH_SETUP(ui_quick_tests, Setup)

#include "QuickTestMain.moc"
