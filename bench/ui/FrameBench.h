#pragma once

// What the frame benchmarks share: the real main window on a view model, waiting on the event
// loop, the next frame on screen, and the printed distribution.

#include "ui/AppShell.h"
#include "ui/UiEngine.h"
#include "scanning/generator/ShootGenerator.h"
#include "workflow/KestravaViewModel.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

namespace kestrava::bench {

// Sleeps in the event loop between checks. Spinning on processEvents() would take one of the
// machine's cores from the decodes and frames being measured; a tick wakes the loop for
// conditions that no event announces (a deadline).
inline void waitFor(const std::function<bool()>& condition, int timeoutMs = 60000)
{
    QElapsedTimer timer;
    timer.start();
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    tick.start(1);
    while (!condition() && timer.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

inline void report(const char* name, QList<double> samples)
{
    if (samples.isEmpty()) {
        std::printf("%s: no samples\n", name);
        return;
    }
    std::sort(samples.begin(), samples.end());
    auto at = [&](double q) { return samples[qMin(samples.size() - 1, qsizetype(q * samples.size()))]; };
    std::printf("%s: n=%lld p50=%.2f ms p95=%.2f ms max=%.2f ms over16=%lld\n", name, static_cast<long long>(samples.size()),
                at(0.5), at(0.95), samples.last(),
                static_cast<long long>(std::count_if(samples.begin(), samples.end(), [](double v) { return v > 16.0; })));
    std::fflush(stdout);
}

// Waits for the next frame on screen and returns when it was swapped.
inline qint64 nextFrame(QQuickWindow* window, QElapsedTimer& clock)
{
    qint64 swapped = -1;
    auto connection = QObject::connect(window, &QQuickWindow::frameSwapped, window, [&] { swapped = clock.nsecsElapsed(); });
    window->update();
    waitFor([&] { return swapped >= 0; }, 2000);
    QObject::disconnect(connection);
    return swapped;
}

inline QQuickItem* findItem(QQuickItem* root, const QString& objectName)
{
    if (root->objectName() == objectName)
        return root;
    for (QQuickItem* child : root->childItems())
        if (QQuickItem* found = findItem(child, objectName))
            return found;
    return nullptr;
}

struct App {
    std::unique_ptr<KestravaViewModel> viewModel;
    std::unique_ptr<AppShell> shell;
    std::unique_ptr<QQmlApplicationEngine> engine;
    QQuickWindow* window = nullptr;

    explicit App(WorkflowServices services)
    {
        viewModel = std::make_unique<KestravaViewModel>(services);
        shell = std::make_unique<AppShell>(viewModel.get(), false);
        shell->setReducedMotion(true);
        engine = std::make_unique<QQmlApplicationEngine>();
        configureEngine(*engine, viewModel.get(), shell.get());
        engine->load(mainWindowUrl());
        window = qobject_cast<QQuickWindow*>(engine->rootObjects().first());
        window->show();
        shell->mainContentShown();
        waitFor([&] { return window->isExposed(); });
    }

    void review(const QString& folder, FormatReviewChoice choice, const QString& destination)
    {
        viewModel->loading()->load(folder);
        waitFor([&] { return viewModel->route() == AppRoute::setup; });
        viewModel->loading()->chooseFormatReview(choice);
        viewModel->selectOperationMode(SortOperationMode::safeCopy);
        viewModel->setDestinationBaseFolder(destination);
        viewModel->updateRunFolderName(QStringLiteral("Bench"));
        viewModel->loading()->startReviewing();
        waitFor([&] { return viewModel->route() == AppRoute::reviewing; });
    }
};

// A shoot of JPEG + RAW pairs of 3000 × 2000 pixels, as the key benchmarks press through.
inline QString generateKeyShots(const QString& folder, int shots)
{
    shootgen::ShootOptions options;
    options.shots = shots;
    options.rawRatio = 1.0;
    options.distractors = false;
    options.imageSize = QSize(3000, 2000);
    std::printf("generating %d shots …\n", shots);
    std::fflush(stdout);
    shootgen::generateShoot(folder, options);
    return folder;
}

// A click far along the timeline to shots not prepared, `shots` generated first.
int coldJump(int shots);

} // namespace kestrava::bench
