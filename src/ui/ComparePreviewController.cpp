#include "ComparePreviewController.h"

#include "workflow/KestravaViewModel.h"

namespace kestrava {

ComparePreviewController::ComparePreviewController(QObject* parent)
    : QObject(parent), reference_(new PhotoPreviewLoader(PreviewPipeline::shared(), this)),
      candidate_(new PhotoPreviewLoader(PreviewPipeline::shared(), this))
{
    connect(reference_, &PhotoPreviewLoader::imageChanged, this, &ComparePreviewController::imagesChanged);
    connect(candidate_, &PhotoPreviewLoader::imageChanged, this, &ComparePreviewController::imagesChanged);
}

void ComparePreviewController::setViewModelObject(QObject* object)
{
    if (!viewModel_.reset(qobject_cast<KestravaViewModel*>(object)))
        return;
    if (viewModel_)
        viewModel_.follow(viewModel_->compare(), &CompareStage::changed, this, &ComparePreviewController::sync);
    emit viewModelChanged();
    sync();
}

void ComparePreviewController::show(PhotoPreviewLoader& loader, const QString& path)
{
    const std::optional<FileUrl> shown = loader.requestedURL();
    if (path.isEmpty())
        loader.clear();
    else if (!shown || shown->path() != path)
        loader.load(FileUrl::fromLocalPath(path));
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
    show(*candidate_, compare->candidatePath());
    const QList<ReviewGroup> groups = viewModel_->review()->effectiveReviewGroups();
    QList<FileUrl> next;
    for (int index : compare->nextCandidates(compare->candidateIndex(), prefetchCandidates))
        next.append(groups[index].previewURL);
    if (!next.isEmpty())
        candidate_->prefetch(next);
}

} // namespace kestrava
