#include "ComparePreviewController.h"
#include "PeakingRequest.h"

#include "workflow/KestravaViewModel.h"

#include <QPointer>

#include <memory>

namespace kestrava {

ComparePreviewController::ComparePreviewController(QObject* parent)
    : QObject(parent), reference_(new PhotoPreviewLoader(PreviewPipeline::shared(), this)),
      candidate_(new PhotoPreviewLoader(PreviewPipeline::shared(), this))
{
    connect(reference_, &PhotoPreviewLoader::imageChanged, this, &ComparePreviewController::imagesChanged);
    connect(candidate_, &PhotoPreviewLoader::imageChanged, this, &ComparePreviewController::imagesChanged);
    connect(this, &ComparePreviewController::imagesChanged, this, &ComparePreviewController::updatePeaking);
}

void ComparePreviewController::updatePeaking()
{
    // An overlay belongs to one picture: cleared first, measured anew for the pictures shown.
    peaking_[0] = peaking_[1] = QImage();
    emit peakingChanged();
    if (!viewModel_ || !viewModel_->series()->peaking())
        return;
    PhotoPreviewLoader* loaders[2] = {reference_, candidate_};
    for (int pane = 0; pane < 2; ++pane)
        requestPeaking(loaders[pane], this, [this, pane](const QImage& overlay) {
            if (!viewModel_ || !viewModel_->series()->peaking())
                return;
            peaking_[pane] = overlay;
            emit peakingChanged();
        });
}

void ComparePreviewController::setViewModelObject(QObject* object)
{
    if (!viewModel_.reset(qobject_cast<KestravaViewModel*>(object)))
        return;
    if (viewModel_) {
        viewModel_.follow(viewModel_->compare(), &CompareStage::changed, this, &ComparePreviewController::sync);
        viewModel_.follow(viewModel_->series(), &SeriesStage::peakingChanged, this, &ComparePreviewController::updatePeaking);
    }
    emit viewModelChanged();
    sync();
}

void ComparePreviewController::show(PhotoPreviewLoader& loader, const QString& path, PhotoPreviewLoader::ReadyCallback onReady)
{
    const std::optional<FileUrl> shown = loader.requestedURL();
    if (path.isEmpty())
        loader.clear();
    else if (!shown || shown->path() != path)
        loader.load(FileUrl::fromLocalPath(path), std::move(onReady));
}

void ComparePreviewController::sync()
{
    const CompareStage* compare = viewModel_ ? viewModel_->compare() : nullptr;
    if (!compare || !compare->active()) {
        reference_->clear();
        candidate_->clear();
        return;
    }
    show(*reference_, compare->referencePath());
    // A failed picture counts as shown, as in the single view: the frame must stay decidable.
    QPointer<CompareStage> stage = viewModel_->compare();
    show(*candidate_, compare->candidatePath(), [stage](const FileUrl& url, PreviewLoadState state) {
        if (stage && state != PreviewLoadState::loading)
            stage->setCandidateShown(url.path());
    });
    const QList<ReviewGroup> groups = viewModel_->review()->effectiveReviewGroups();
    QList<FileUrl> next;
    for (int index : compare->nextCandidates(compare->candidateIndex(), prefetchCandidates))
        next.append(groups[index].previewURL);
    if (!next.isEmpty())
        candidate_->prefetch(next);
}

} // namespace kestrava
