// A click far along the timeline, to a shot whose preview nobody prepared: how long until the
// stage shows a picture of it (the camera's thumbnail, standing in), and how long until the
// full preview replaces it.

#include "FrameBench.h"

#include "preview/PreviewPipeline.h"
#include "ui/ReviewPreviewController.h"

#include <QTemporaryDir>

namespace kestrava::bench {

int coldJump(int shots)
{
    QTemporaryDir folder;
    QTemporaryDir destination;
    generateKeyShots(folder.path(), shots);
    WorkflowServices services;
    services.timings.completionDelay = std::chrono::hours(1);
    App app(services);
    app.review(folder.path(), FormatReviewChoice::both, destination.path());
    auto* controller = app.window->findChild<ReviewPreviewController*>();
    if (!controller)
        return 1;
    ReviewStage* review = app.viewModel->review();
    waitFor([&] { return review->isPreviewReady(); });
    const QList<ReviewGroup> groups = review->effectiveReviewGroups();

    QElapsedTimer clock;
    clock.start();
    QList<double> firstPicture, fullPreview;
    int standIns = 0;
    // Always forward and beyond the prefetched groups, so that every target is cold.
    constexpr int stride = ReviewPreviewController::prefetchGroups + 2;
    for (int target = stride; target < groups.size(); target += stride) {
        // The previous jump's prefetches are done: the jump alone is measured.
        waitFor([&] { return PreviewPipeline::shared().snapshot().inFlightPriorities.isEmpty(); });
        QElapsedTimer quiet;
        quiet.start();
        waitFor([&] { return quiet.elapsed() >= 200; });

        bool pictureSet = false, previewSet = false, standIn = false;
        qint64 pictureAt = -1, previewAt = -1;
        auto imageConnection = QObject::connect(controller, &ReviewPreviewController::imageChanged, app.window, [&] {
            if (controller->image().isNull())
                return;
            pictureSet = true;
            previewSet = controller->hasImage();
            standIn = standIn || !previewSet;
        });
        auto frameConnection = QObject::connect(app.window, &QQuickWindow::frameSwapped, app.window, [&] {
            const qint64 now = clock.nsecsElapsed();
            if (pictureSet && pictureAt < 0)
                pictureAt = now;
            if (previewSet && previewAt < 0)
                previewAt = now;
        });
        const qint64 jumped = clock.nsecsElapsed();
        review->showGroupInMainReview(groups[target].id);
        waitFor([&] { return previewAt >= 0; }, 10000);
        QObject::disconnect(imageConnection);
        QObject::disconnect(frameConnection);
        if (previewAt < 0)
            continue;
        firstPicture.append((pictureAt - jumped) / 1e6);
        fullPreview.append((previewAt - jumped) / 1e6);
        standIns += standIn ? 1 : 0;
    }
    report("cold jump to a picture on screen", firstPicture);
    report("cold jump to the full preview on screen", fullPreview);
    std::printf("jumps with a thumbnail first: %d of %lld\n", standIns, static_cast<long long>(fullPreview.size()));
    return fullPreview.isEmpty() ? 1 : 0;
}

} // namespace kestrava::bench
