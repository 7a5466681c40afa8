// Qt Quick tests of the screens. Every test function starts from a rig of its own: its
// TestCase calls `Rig.renew()` in init(), which builds a view model over a freshly generated
// shoot and hands it to the engine as the module's singletons, so a test never sees what the
// one before it decided, and any function runs alone (`ui_quick_tests -input tst_x.qml Name::test_y`).
// Screens that read the view model are made in init() (a Loader) and destroyed in cleanup().

#include "UiRig.h"
#include "preview/FocusPipeline.h"
#include "preview/PreviewPipeline.h"
#include "ui/UiEngine.h"

#include <QCoreApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QTest>
#include <QtQuickTest>

using namespace kestrava;
using namespace kestrava::test;

// What a test file may ask of the C++ side: a fresh rig, a shoot to load and the setup it needs.
class QuickRig : public QObject {
    Q_OBJECT
public:
    explicit QuickRig(QObject* parent = nullptr) : QObject(parent) {}

    void attach(QQmlEngine* engine)
    {
        release();
        engine_ = engine;
        configureEngine(*engine, nullptr, nullptr);
    }

    // The previous test's screens are gone by now (cleanup() unloaded them); their deferred
    // deletion runs first, so no binding of theirs sees the old view model die.
    void release()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        rig.reset(); // restores XDG_DATA_HOME before the next rig points it elsewhere
    }

    Q_INVOKABLE void renew()
    {
        // The engine keeps the singletons it handed out; clearing makes the next lookup of
        // ViewModel and Shell ask configureEngine's pair again. Clearing also deletes the
        // engine-owned singletons, and two of those are never made again in Qt 6.4: the `Qt`
        // object and QtTest's root object (the test runner still holds it and crashes when it
        // is gone). Taking them over first keeps them.
        keepThroughClear("QtQml", 6, "Qt");
        keepThroughClear("QtTest", 1, "QTestRootObject");
        engine_->clearSingletons();
        release();
        rig = std::make_unique<UiRig>(6);
        configureEngine(*engine_, rig->viewModel.get(), rig->shell.get());
    }

    Q_INVOKABLE bool loadShoot()
    {
        current().loadShoot();
        return current().viewModel->route() == AppRoute::setup;
    }
    Q_INVOKABLE void configure(const QString& mode) { current().configure(mode); }
    Q_INVOKABLE bool startReview()
    {
        current().startReview();
        return current().viewModel->route() == AppRoute::reviewing;
    }
    // Key presses into another window than the test's own (the audit window).
    Q_INVOKABLE void pressIn(QObject* window, int key, int modifiers = 0)
    {
        if (auto* target = qobject_cast<QWindow*>(window))
            QTest::keyClick(target, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
    }
    Q_INVOKABLE QString shootFolder() { return current().shootFolder; }
    Q_INVOKABLE QString destinationBase() { return current().destinationBase; }
    Q_INVOKABLE bool waitForPreview(int timeoutMs)
    {
        return waitUntil([&] { return current().viewModel->review()->isPreviewReady(); }, timeoutMs);
    }
    // Decides every group the same way through the view model, as the audit list would.
    Q_INVOKABLE bool decideAll(const QString& name)
    {
        const auto decision = enumFromRaw<PhotoDecision>(name);
        if (!decision)
            return false;
        ReviewStage* review = current().viewModel->review();
        for (const ReviewGroup& group : review->effectiveReviewGroups()) {
            review->reclassify(*decision, group.id);
            if (!waitForSettled(60000))
                return false;
        }
        return true;
    }
    // Overwrites every file of the group at `index` with bytes no decoder takes; its id.
    Q_INVOKABLE QString damageGroup(int index)
    {
        const ReviewGroup group = current().viewModel->review()->effectiveReviewGroups().value(index);
        for (const FileUrl& member : group.memberURLs)
            writeFile(member.path(), "kein Bild");
        return group.id;
    }
    Q_INVOKABLE bool waitForSettled(int timeoutMs)
    {
        return waitUntil([&] { return !current().viewModel->review()->isCommittingDecision(); }, timeoutMs);
    }

private:
    void keepThroughClear(const char* uri, int major, const char* name)
    {
        const int type = qmlTypeId(uri, major, 0, name);
        if (type < 0)
            qFatal("no singleton %s in %s", name, uri);
        if (auto* instance = engine_->singletonInstance<QObject*>(type))
            QJSEngine::setObjectOwnership(instance, QJSEngine::CppOwnership);
    }

    UiRig& current()
    {
        if (!rig)
            qFatal("Rig.renew() belongs in the TestCase's init(): this test has no rig");
        return *rig;
    }

    std::unique_ptr<UiRig> rig;
    QQmlEngine* engine_ = nullptr;
};

class Setup : public QObject {
    Q_OBJECT
public slots:
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        // Each test file has an engine of its own; the last file's rig goes with its engine.
        quickRig.attach(engine);
        engine->rootContext()->setContextProperty(QStringLiteral("Rig"), &quickRig);
    }
    void cleanupTestCase()
    {
        quickRig.release();
        // As the application does when it quits.
        PreviewPipeline::endShared();
        FocusPipeline::endShared();
    }

private:
    QuickRig quickRig;
};

QUICK_TEST_MAIN_WITH_SETUP(ui_quick_tests, Setup)

#include "QuickTestMain.moc"
