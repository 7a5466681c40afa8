// Timed runs of the real main window (run under xvfb-run or with QT_QPA_PLATFORM=offscreen):
//   ui_frame_bench timeline [groups]  decisions at 20,000 groups: action to frame on screen
//   ui_frame_bench audit [groups]     scrolling the audit list: scroll step to frame on screen
//   ui_frame_bench keys [shots] [ms]  arrow key every 150 ms: key press to the next picture's frame
//   ui_frame_bench keys-audit [shots] [rows] [ms]
//                                     the same while the audit list scrolls through `rows` rows
//                                     (5,000 by default) of real thumbnails
//   ui_frame_bench coldjump [shots]  clicks far along the timeline to shots not prepared: click to
//                                     the first picture (a thumbnail) and to the full preview
//   ui_frame_bench open [shots]       a folder of JPEG + RAW pairs (20,000 by default), warm cache:
//                                     opening it to the first picture on screen, and peak memory
// Each prints count, p50, p95 and max in milliseconds; `open` prints one line of figures.

#include "FrameBench.h"

#include "ui/ReviewPreviewController.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QQmlExtensionPlugin>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <fcntl.h>
#include <unistd.h>

Q_IMPORT_QML_PLUGIN(KestravaPlugin)

using namespace kestrava;

namespace {

using namespace kestrava::bench;

// Many groups of files that need not exist: the scan is replaced.
WorkflowServices syntheticScan(int groups)
{
    QList<PhotoItem> photos;
    for (int i = 0; i < groups; ++i) {
        PhotoItem item;
        item.sourceURL = FileUrl::fromLocalPath(QStringLiteral("/nonexistent/IMG_%1.JPG").arg(i, 5, 10, QLatin1Char('0')));
        item.formatGroup = PhotoFormatGroup::jpeg;
        item.fileSize = 8'000'000;
        photos.append(item);
    }
    WorkflowServices services;
    services.scanFolder = [photos](const FileUrl&) { return photos; };
    services.timings.completionDelay = std::chrono::hours(1);
    return services;
}

int timeline(int groups)
{
    QTemporaryDir destination;
    App app(syntheticScan(groups));
    app.review(QStringLiteral("/nonexistent"), FormatReviewChoice::jpeg, destination.path());
    const QList<ReviewGroup> list = app.viewModel->review()->effectiveReviewGroups();
    QElapsedTimer clock;
    clock.start();
    QList<double> samples;
    for (int i = 0; i < 300; ++i) {
        const qint64 start = clock.nsecsElapsed();
        app.viewModel->review()->reclassify(PhotoDecision(i % 3), list[(i * 7919) % list.size()].id);
        waitFor([&] { return !app.viewModel->review()->isCommittingDecision(); });
        const qint64 shown = nextFrame(app.window, clock);
        samples.append((shown - start) / 1e6);
    }
    report("timeline decision to frame", samples);
    return 0;
}

// Opens the audit window over the review and returns it once it is on screen (or null).
QQuickWindow* openAuditWindow(App& app)
{
    app.viewModel->audit()->request();
    QQuickWindow* auditWindow = nullptr;
    waitFor([&] {
        for (QWindow* w : QGuiApplication::topLevelWindows())
            if (w != app.window && w->isVisible() && w->title() == QStringLiteral("Auswahl prüfen"))
                auditWindow = qobject_cast<QQuickWindow*>(w);
        return auditWindow && auditWindow->isExposed();
    });
    return auditWindow;
}

int audit(int groups)
{
    QTemporaryDir destination;
    App app(syntheticScan(groups));
    app.review(QStringLiteral("/nonexistent"), FormatReviewChoice::jpeg, destination.path());
    QQuickWindow* auditWindow = openAuditWindow(app);
    QQuickItem* list = findItem(auditWindow->contentItem(), QStringLiteral("auditList"));
    if (!list) {
        std::printf("no audit list\n");
        return 1;
    }
    QElapsedTimer clock;
    clock.start();
    QList<double> scroll, decide;
    for (int i = 0; i < 400; ++i) {
        const qint64 start = clock.nsecsElapsed();
        list->setProperty("contentY", list->property("contentY").toDouble() + 90.0);
        scroll.append((nextFrame(auditWindow, clock) - start) / 1e6);
    }
    report("audit scroll step to frame", scroll);
    const QList<ReviewGroup> groupsList = app.viewModel->review()->effectiveReviewGroups();
    for (int i = 0; i < 200; ++i) {
        const qint64 start = clock.nsecsElapsed();
        app.viewModel->review()->reclassify(PhotoDecision(i % 3), groupsList[(i * 7919) % groupsList.size()].id);
        waitFor([&] { return !app.viewModel->review()->isCommittingDecision(); });
        decide.append((nextFrame(auditWindow, clock) - start) / 1e6);
    }
    report("audit decision to frame", decide);
    return 0;
}

// Presses the arrow key every `intervalMs` through the first `count` groups and returns key
// press to the next picture's frame, in milliseconds.
QList<double> pressKeys(App& app, int count, int intervalMs, int* refused)
{
    auto* controller = app.window->findChild<ReviewPreviewController*>();
    if (!controller)
        return {};
    waitFor([&] { return app.viewModel->review()->isPreviewReady(); });
    QElapsedTimer clock;
    clock.start();
    QList<double> samples;
    // Where the time goes: until the decision is written and the review moves on, until the
    // next picture is handed to the stage, until the frame with it is on screen.
    QList<double> written, pictured, framed;
    // And the frame itself: waiting for the render loop (with polishing), synchronizing the
    // scene graph, rendering it, and flushing the backing store to the window.
    QList<double> waited, synced, rendered, flushed;
    for (int i = 0; i + 1 < std::min(count, app.viewModel->review()->reviewGroupCount()); ++i) {
        // A key every 150 ms by default, as a brisk photographer presses them.
        const qint64 due = clock.nsecsElapsed() + qint64(intervalMs) * 1'000'000;
        const int before = app.viewModel->review()->currentIndex();
        qint64 movedAt = -1, imageAt = -1, shownAt = -1, animatedAt = -1, syncedAt = -1, renderedAt = -1;
        auto moveConnection = QObject::connect(app.viewModel->review(), &ReviewStage::currentIndexChanged, app.window, [&] {
            if (movedAt < 0)
                movedAt = clock.nsecsElapsed();
        });
        auto imageConnection = QObject::connect(controller, &ReviewPreviewController::imageChanged, app.window, [&] {
            if (controller->hasImage())
                imageAt = clock.nsecsElapsed();
        });
        auto frameConnection = QObject::connect(app.window, &QQuickWindow::frameSwapped, app.window, [&] {
            if (imageAt >= 0 && shownAt < 0)
                shownAt = clock.nsecsElapsed();
        });
        // Direct: with a threaded render loop these come from the render thread.
        const QList<QMetaObject::Connection> stepConnections{
            QObject::connect(app.window, &QQuickWindow::afterAnimating, app.window, [&] {
                if (imageAt >= 0 && shownAt < 0)
                    animatedAt = clock.nsecsElapsed();
            }, Qt::DirectConnection),
            QObject::connect(app.window, &QQuickWindow::afterSynchronizing, app.window, [&] {
                if (imageAt >= 0 && shownAt < 0)
                    syncedAt = clock.nsecsElapsed();
            }, Qt::DirectConnection),
            QObject::connect(app.window, &QQuickWindow::afterRendering, app.window, [&] {
                if (imageAt >= 0 && shownAt < 0)
                    renderedAt = clock.nsecsElapsed();
            }, Qt::DirectConnection)};
        const qint64 pressed = clock.nsecsElapsed();
        QTest::keyClick(app.window, Qt::Key_Up);
        if (app.viewModel->review()->currentIndex() == before)
            ++*refused;
        waitFor([&] { return shownAt >= 0; }, 5000);
        QObject::disconnect(moveConnection);
        QObject::disconnect(imageConnection);
        QObject::disconnect(frameConnection);
        for (const QMetaObject::Connection& c : stepConnections)
            QObject::disconnect(c);
        if (shownAt >= 0 && animatedAt >= imageAt && syncedAt >= animatedAt && renderedAt >= syncedAt) {
            waited.append((animatedAt - imageAt) / 1e6);
            synced.append((syncedAt - animatedAt) / 1e6);
            rendered.append((renderedAt - syncedAt) / 1e6);
            flushed.append((shownAt - renderedAt) / 1e6);
        }
        if (shownAt >= 0) {
            samples.append((shownAt - pressed) / 1e6);
            if (movedAt >= 0) {
                written.append((movedAt - pressed) / 1e6);
                // A prepared picture is handed over while the move itself is announced.
                pictured.append(std::max<qint64>(0, imageAt - movedAt) / 1e6);
                framed.append((shownAt - imageAt) / 1e6);
            }
        }
        waitFor([&] { return clock.nsecsElapsed() >= due; }, 1000);
    }
    report("  of which the decision written", written);
    report("  of which the picture handed to the stage", pictured);
    report("  of which the frame on screen", framed);
    report("    waiting for the frame, polishing", waited);
    report("    synchronizing the scene graph", synced);
    report("    rendering", rendered);
    report("    flushing to the window", flushed);
    return samples;
}

int keys(int shots, int intervalMs)
{
    QTemporaryDir folder;
    QTemporaryDir destination;
    generateKeyShots(folder.path(), shots);
    WorkflowServices services;
    services.timings.completionDelay = std::chrono::hours(1);
    App app(services);
    app.review(folder.path(), FormatReviewChoice::both, destination.path());
    int refused = 0;
    const QList<double> samples = pressKeys(app, shots, intervalMs, &refused);
    report("key press to next picture on screen", samples);
    std::printf("keys refused (picture not ready yet): %d\n", refused);
    return samples.isEmpty() ? 1 : 0;
}

// The key shots come first in review order ("A/…"); behind them `rows` single JPEGs ("B/…"),
// hard links to a few small pictures, so that every row is a file of its own to read.
int keysWhileAuditScrolls(int shots, int rows, int intervalMs)
{
    QTemporaryDir folder;
    QTemporaryDir destination;
    generateKeyShots(folder.path() + QStringLiteral("/A"), shots);
    shootgen::ShootOptions small;
    small.shots = 12;
    small.rawRatio = 0.0;
    small.distractors = false;
    const QString smallFolder = folder.path() + QStringLiteral("/small");
    const shootgen::ShootSummary pictures = shootgen::generateShoot(smallFolder, small);
    QDir().mkpath(folder.path() + QStringLiteral("/B"));
    for (int i = 0; i < rows; ++i) {
        const QString from = smallFolder + u'/' + pictures.photos[i % pictures.photos.size()].relativePath;
        const QString to = folder.path() + QStringLiteral("/B/ROW_%1.JPG").arg(i, 5, 10, QLatin1Char('0'));
        if (::link(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0 && !QFile::copy(from, to)) {
            std::printf("cannot create %s\n", qPrintable(to));
            return 1;
        }
    }
    QDir(smallFolder).removeRecursively();

    WorkflowServices services;
    services.timings.completionDelay = std::chrono::hours(1);
    App app(services);
    app.review(folder.path(), FormatReviewChoice::both, destination.path());
    QQuickWindow* auditWindow = openAuditWindow(app);
    QQuickItem* list = auditWindow ? findItem(auditWindow->contentItem(), QStringLiteral("auditList")) : nullptr;
    if (!list) {
        std::printf("no audit list\n");
        return 1;
    }
    // The keys go to the review window. The review takes no keys while the audit is presented,
    // so the flag is cleared while its window stays up and keeps loading thumbnails as it
    // scrolls: what is measured is the competition for the reader, not the shortcut rules.
    app.window->requestActivate();
    waitFor([&] { return app.window->isActive(); }, 2000);
    app.viewModel->audit()->setPresented(false);
    // Through every row and round again, a frame at a time, while the keys are pressed.
    const int count = list->property("count").toInt();
    int rowsPassed = 0;
    QTimer scroller;
    QObject::connect(&scroller, &QTimer::timeout, list, [&] {
        const double contentHeight = list->property("contentHeight").toDouble();
        const double rowHeight = count > 0 ? contentHeight / count : 60.0;
        double y = list->property("contentY").toDouble() + 14 * rowHeight;
        if (y > contentHeight - list->height())
            y = 0;
        list->setProperty("contentY", y);
        rowsPassed += 14;
    });
    scroller.start(16);
    int refused = 0;
    const QList<double> samples = pressKeys(app, shots, intervalMs, &refused);
    scroller.stop();
    report("key press to next picture while the audit list scrolls", samples);
    std::printf("audit rows: %d, rows scrolled past: %d, keys refused: %d\n", count, rowsPassed, refused);
    return samples.isEmpty() ? 1 : 0;
}

long statusKiB(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ').first().toLong();
    return -1;
}

// A card of `shots` JPEG + RAW pairs in one folder. Only the first few JPEGs hold pictures (the
// review shows the first shot and prefetches a few); the rest are empty files, which a scan
// and the review list treat exactly like full ones.
void writePairs(const QString& folder, int shots)
{
    QTemporaryDir real;
    shootgen::ShootOptions options;
    options.shots = 6;
    options.rawRatio = 0;
    options.distractors = false;
    options.imageSize = QSize(6000, 4000);
    shootgen::generateShoot(real.path(), options);
    QStringList jpegs;
    QDirIterator it(real.path(), {QStringLiteral("*.JPG"), QStringLiteral("*.jpg")}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        jpegs.append(it.next());
    jpegs.sort();
    const QString dcim = folder + QStringLiteral("/DCIM/100CANON");
    QDir().mkpath(dcim);
    for (int i = 0; i < shots; ++i) {
        const QString name = dcim + QStringLiteral("/IMG_%1").arg(i + 1, 5, 10, QLatin1Char('0'));
        if (i < jpegs.size())
            QFile::copy(jpegs[i], name + QStringLiteral(".JPG"));
        else
            ::close(::open(QFile::encodeName(name + QStringLiteral(".JPG")).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        ::close(::open(QFile::encodeName(name + QStringLiteral(".CR3")).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    }
}

int open(int shots)
{
    QTemporaryDir folder;
    QTemporaryDir destination;
    writePairs(folder.path(), shots);
    // Warm cache: the tree is read once, as a photographer's second look at a card would.
    QDirIterator warm(folder.path(), QDir::Files, QDirIterator::Subdirectories);
    while (warm.hasNext())
        warm.next();

    WorkflowServices services;
    services.timings.completionDelay = std::chrono::hours(1);
    App app(services);
    const long baseKiB = statusKiB("VmRSS:");
    QElapsedTimer clock;
    clock.start();
    app.viewModel->loading()->load(folder.path());
    waitFor([&] { return app.viewModel->route() == AppRoute::setup; });
    const double scannedMs = clock.nsecsElapsed() / 1e6;
    app.viewModel->loading()->chooseFormatReview(FormatReviewChoice::both);
    app.viewModel->selectOperationMode(SortOperationMode::safeCopy);
    app.viewModel->setDestinationBaseFolder(destination.path());
    app.viewModel->updateRunFolderName(QStringLiteral("Bench"));
    const qint64 started = clock.nsecsElapsed();
    app.viewModel->loading()->startReviewing();
    qint64 shownAt = -1;
    ReviewPreviewController* controller = nullptr;
    auto frameConnection = QObject::connect(app.window, &QQuickWindow::frameSwapped, app.window, [&] {
        if (!controller)
            controller = app.window->findChild<ReviewPreviewController*>();
        if (shownAt < 0 && controller && controller->hasImage())
            shownAt = clock.nsecsElapsed();
    });
    waitFor([&] { return shownAt >= 0; });
    QObject::disconnect(frameConnection);
    if (shownAt < 0) {
        std::printf("no picture on screen\n");
        return 1;
    }
    // Reviewing goes on: the metadata of every file is read in the background, the timeline and
    // the audit list hold every group. Memory is taken once that settles.
    app.viewModel->audit()->request();
    QElapsedTimer settle;
    settle.start();
    waitFor([&] { return settle.elapsed() > 3000; }, 4000);
    const double openMs = scannedMs + (shownAt - started) / 1e6;
    std::printf("{\"shots\":%d,\"files\":%d,\"scanToSetupMs\":%.1f,\"reviewToPictureMs\":%.1f,\"openToPictureMs\":%.1f,"
                "\"baseRssMiB\":%.1f,\"rssMiB\":%.1f,\"peakRssMiB\":%.1f}\n",
                shots, shots * 2, scannedMs, (shownAt - started) / 1e6, openMs, baseKiB / 1024.0,
                statusKiB("VmRSS:") / 1024.0, statusKiB("VmHWM:") / 1024.0);
    std::fflush(stdout);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString mode = args.value(1);
    const int count = args.value(2).toInt();
    if (mode == QStringLiteral("timeline"))
        return timeline(count > 0 ? count : 20000);
    if (mode == QStringLiteral("audit"))
        return audit(count > 0 ? count : 20000);
    if (mode == QStringLiteral("keys"))
        return keys(count > 0 ? count : 60, args.value(3).toInt() > 0 ? args.value(3).toInt() : 150);
    if (mode == QStringLiteral("keys-audit"))
        return keysWhileAuditScrolls(count > 0 ? count : 60, args.value(3).toInt() > 0 ? args.value(3).toInt() : 5000,
                                     args.value(4).toInt() > 0 ? args.value(4).toInt() : 150);
    if (mode == QStringLiteral("coldjump"))
        return coldJump(count > 0 ? count : 120);
    if (mode == QStringLiteral("open"))
        return open(count > 0 ? count : 20000);
    std::fputs("usage: ui_frame_bench timeline|audit|keys|keys-audit|coldjump|open [count]\n", stderr);
    return 2;
}
