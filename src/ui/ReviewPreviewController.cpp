#include "ReviewPreviewController.h"
#include "PeakingRequest.h"
#include "platform/DeliveredLater.h"

#include "workflow/WindowWording.h"
#include "preview/FocusPipeline.h"
#include "workflow/KestravaViewModel.h"

namespace kestrava {

ReviewPreviewController::ReviewPreviewController(QObject* parent)
    : ReviewPreviewController(nullptr, parent)
{
}

ReviewPreviewController::ReviewPreviewController(PhotoPreviewLoader* loader, QObject* parent)
    : QObject(parent), loader_(loader ? loader : new PhotoPreviewLoader(PreviewPipeline::shared(), this)),
      sharedPipeline_(!loader)
{
    loader_->setShowsThumbnails(true);
    connect(loader_, &PhotoPreviewLoader::imageChanged, this, &ReviewPreviewController::updatePeaking);
    connect(loader_, &PhotoPreviewLoader::imageChanged, this, &ReviewPreviewController::imageChanged);
    connect(loader_, &PhotoPreviewLoader::fittedImageChanged, this, &ReviewPreviewController::fittedImageChanged);
    connect(loader_, &PhotoPreviewLoader::imageChanged, this, &ReviewPreviewController::statusChanged);
    connect(loader_, &PhotoPreviewLoader::isLoadingChanged, this, &ReviewPreviewController::statusChanged);
    connect(loader_, &PhotoPreviewLoader::didFailChanged, this, &ReviewPreviewController::statusChanged);
    connect(loader_, &PhotoPreviewLoader::didFailChanged, this, &ReviewPreviewController::onDidFailChanged);
}

QObject* ReviewPreviewController::viewModelObject() const
{
    return viewModel_;
}

void ReviewPreviewController::setViewModelObject(QObject* viewModel)
{
    setViewModel(qobject_cast<KestravaViewModel*>(viewModel));
}

void ReviewPreviewController::setViewModel(KestravaViewModel* viewModel)
{
    if (!viewModel_.reset(viewModel))
        return;
    viewModel_.follow(viewModel_.review(), &ReviewStage::reviewStateChanged, this, &ReviewPreviewController::sync);
    viewModel_.follow(viewModel_.review(), &ReviewStage::currentIndexChanged, this, &ReviewPreviewController::sync);
    viewModel_.follow(viewModel_.review(), &ReviewStage::isPreviewReadyChanged, this, &ReviewPreviewController::onPreviewReadyChanged);
    if (viewModel_) {
        viewModel_.follow(viewModel_->series(), &SeriesStage::peakingChanged, this, &ReviewPreviewController::updatePeaking);
        if (sharedPipeline_ && !viewModel_->series()->hasScorer()) {
            // Measured at the size the screen shows, so each measure finds its preview cached.
            const int size = loader_->targetPixelSize();
            SeriesStage* series = viewModel_->series();
            viewModel_->series()->setScorer([size, series](const FileUrl& file) {
                return deliveredLater(FocusPipeline::shared().focus(file, size), series).then(series, [](const FocusResult& map) {
                    return map ? std::optional(map->score) : std::nullopt;
                });
            });
        }
    }
    emit viewModelChanged();
    sync();
}

void ReviewPreviewController::setFitBox(QSize box)
{
    if (box == loader_->fitBox())
        return;
    loader_->setFitBox(box);
    emit fitBoxChanged();
}

void ReviewPreviewController::setActive(bool active)
{
    if (active_ == active)
        return;
    active_ = active;
    emit activeChanged();
    sync();
}

QString ReviewPreviewController::statusText() const
{
    return WindowWording::previewStatusText(loader_->isLoading(), loader_->didFail(), hasImage());
}

QString ReviewPreviewController::shownPath() const
{
    const auto url = loader_->requestedURL();
    return url ? url->path() : QString();
}

void ReviewPreviewController::sync()
{
    const QStringList candidates = active_ && viewModel_ ? viewModel_->review()->previewCandidates() : QStringList();
    // Decisions change the review state too; only a different group means a different picture.
    const QString key = candidates.join(QLatin1Char('\n'));
    if (key == groupKey_)
        return;
    groupKey_ = key;
    candidates_ = candidates;
    candidateIndex_ = 0;
    if (candidates_.isEmpty()) {
        loader_->clear();
        return;
    }
    loadCandidate();

    const QList<ReviewGroup> groups = viewModel_->review()->effectiveReviewGroups();
    QList<FileUrl> next;
    const int current = viewModel_->review()->currentIndex();
    for (int i = current + 1; i < groups.size() && i <= current + prefetchGroups; ++i)
        next.append(groups[i].previewURL);
    if (next.isEmpty())
        return;
    // After the frame that shows this photo, which the stage has asked for already: started
    // now, the next decodes would take the processor from that frame on a two-core machine.
    QMetaObject::invokeMethod(
        this,
        [this, next, key] {
            if (key == groupKey_)
                loader_->prefetch(next);
        },
        Qt::QueuedConnection);
}

void ReviewPreviewController::loadCandidate()
{
    QPointer<KestravaViewModel> viewModel = viewModel_.get();
    const bool lastCandidate = candidateIndex_ + 1 >= candidates_.size();
    loader_->load(FileUrl::fromLocalPath(candidates_[candidateIndex_]),
                  [viewModel, lastCandidate](const FileUrl& url, PreviewLoadState state) {
                      // When no file of the shot yields a picture, "no preview" is what the user
                      // sees of it, and they must still be able to decide it (mostly to reject it).
                      const bool failedForGood = lastCandidate && state == PreviewLoadState::failed;
                      if (viewModel)
                          viewModel->review()->setPreviewReady(state == PreviewLoadState::shown || failedForGood, url.path());
                  });
}

void ReviewPreviewController::onPreviewReadyChanged()
{
    // The view model asks for a visible picture again without the group changing (an undo of
    // the decision on the group on screen, a return from the confirmation). The picture never
    // left the screen, and no new load will report it, so it is reported once more.
    if (!active_ || !viewModel_ || viewModel_->review()->isPreviewReady() || loader_->isLoading() || !showsFinalState())
        return;
    const std::optional<FileUrl> shown = loader_->requestedURL();
    if (shown && candidates_.contains(shown->path()))
        viewModel_->review()->setPreviewReady(true, shown->path());
}

bool ReviewPreviewController::showsFinalState() const
{
    return hasImage() || (loader_->didFail() && candidateIndex_ + 1 >= candidates_.size());
}

void ReviewPreviewController::updatePeaking()
{
    // An overlay belongs to one picture: it never outlives it, even for the frame until the
    // next one is measured.
    setPeakingImage({});
    // A stand-in thumbnail has no focus worth showing, and its overlay would be cached as the photo's.
    if (!viewModel_ || !viewModel_->series()->peaking() || !hasImage())
        return;
    requestPeaking(loader_, this, [this](const QImage& overlay) {
        if (viewModel_ && viewModel_->series()->peaking())
            setPeakingImage(overlay);
    });
}

void ReviewPreviewController::setPeakingImage(const QImage& image)
{
    if (image.isNull() && peakingImage_.isNull())
        return;
    peakingImage_ = image;
    emit peakingImageChanged();
}

void ReviewPreviewController::onDidFailChanged()
{
    if (!loader_->didFail() || candidates_.isEmpty())
        return;
    if (candidateIndex_ + 1 < candidates_.size()) {
        ++candidateIndex_;
        loadCandidate();
    }
}

} // namespace kestrava
