#include "ComparePreviewController.h"

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
    // The loader's first report only says "not yet"; the second is the picture or the failure.
    auto reports = std::make_shared<int>(0);
    show(*candidate_, compare->candidatePath(), [stage, reports](const FileUrl& url, bool) {
        if (++*reports > 1 && stage)
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
