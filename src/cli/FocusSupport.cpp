#include "FocusSupport.h"

#include "preview/FocusPipeline.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QFuture>
#include <QHash>

namespace kestrava::cli {

FolderGroups reviewGroupsOf(const QString& folder)
{
    FolderGroups result;
    result.photos = PhotoInventoryScanner::scan(folder);
    result.groups = ReviewGroup::build(result.photos, FormatReviewChoice::both);
    return result;
}

QHash<FileUrl, QString> relativePaths(const QList<PhotoItem>& photos)
{
    QHash<FileUrl, QString> paths;
    paths.reserve(photos.size());
    for (const PhotoItem& photo : photos)
        paths.insert(photo.sourceURL, photo.relativePath);
    return paths;
}

QList<std::optional<float>> sharpnessOf(const QList<FileUrl>& files)
{
    FocusPipeline& focus = FocusPipeline::shared();
    QList<QFuture<FocusResult>> futures;
    futures.reserve(files.size());
    for (const FileUrl& file : files)
        futures.append(focus.focus(file, focusPreviewSize));
    QList<std::optional<float>> scores;
    scores.reserve(files.size());
    for (QFuture<FocusResult>& future : futures) {
        future.waitForFinished();
        const FocusResult map = future.resultCount() ? future.result() : FocusResult{};
        scores.append(map ? std::optional(map->score) : std::nullopt);
    }
    // Previews rendered for the scores are kept for the window; let their writes finish.
    PreviewPipeline::shared().waitForDiskCache();
    return scores;
}

} // namespace kestrava::cli
