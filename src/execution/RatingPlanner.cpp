#include "RatingPlanner.h"

#include "model/SidecarRule.h"

#include <QFileInfo>
#include <QHash>

namespace kestrava::ResumableSortExecutor {

namespace {

const QString keyPrefix = QStringLiteral("xmp-rating:");

QString stemOf(const QString& name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot <= 0 ? name : name.left(dot);
}

QString stemKey(const FileUrl& destination)
{
    return destination.parent().path() + QLatin1Char('/') + stemOf(destination.fileName());
}

int favour(PhotoDecision decision)
{
    switch (decision) {
    case PhotoDecision::keep:
        return 2;
    case PhotoDecision::maybe:
        return 1;
    case PhotoDecision::del:
        return 0;
    }
    return 0;
}

struct SharedSidecar {
    FileUrl path;
    PhotoItem photo; // the first photo; its decision becomes the most favourable of all
    QStringList prerequisites;
    bool travelled = false;
};

} // namespace

QString ratingRecordKey(int keepStars, const QString& photoSourcePath)
{
    return keyPrefix + QString::number(keepStars) + QLatin1Char(':') + photoSourcePath;
}

std::optional<RatingRecordKey> parseRatingRecordKey(const QString& key)
{
    if (!key.startsWith(keyPrefix))
        return std::nullopt;
    const qsizetype colon = key.indexOf(QLatin1Char(':'), keyPrefix.size());
    if (colon < 0)
        return std::nullopt;
    bool number = false;
    const int stars = key.sliced(keyPrefix.size(), colon - keyPrefix.size()).toInt(&number);
    if (!number || stars < minimumKeepRatingStars || stars > maximumKeepRatingStars)
        return std::nullopt;
    return RatingRecordKey{stars, key.sliced(colon + 1)};
}

std::optional<int> plannedKeepStars(const SortOptions& options, const QMap<QString, ExecutionRecord>& existingRecords)
{
    for (auto it = existingRecords.cbegin(); it != existingRecords.cend(); ++it)
        if (const std::optional<RatingRecordKey> key = parseRatingRecordKey(it.key()))
            return key->keepStars;
    if (options.writeRatingSidecars)
        return options.keepRatingStars;
    return std::nullopt;
}

FileUrl ratingSidecarBeside(const FileUrl& photoDestination)
{
    return photoDestination.parent().appending(stemOf(photoDestination.fileName()) + QStringLiteral(".xmp"));
}

void prependRatingActions(SortExecutionPlan& plan, int keepStars, const QMap<QString, ExecutionRecord>& existingRecords)
{
    // A sidecar that travelled with its photo lies beside it under the photo's stem; the
    // rating goes into it rather than into a second file editors would not read. One moved
    // by an earlier run is no longer beside the original photo, so no file of the plan:
    // its record tells where it went.
    struct Travelled {
        FileUrl path;
        QString actionId; // empty when no action of this plan brings it
    };
    QHash<QString, Travelled> travelledByStem;
    for (auto it = existingRecords.cbegin(); it != existingRecords.cend(); ++it) {
        if (it->status != ExecutionActionStatus::completed || !it->destinationPath || parseRatingRecordKey(it.key())
            || !isSidecarName(QFileInfo(it.key()).fileName()))
            continue;
        const FileUrl path = FileUrl::fromLocalPath(*it->destinationPath);
        travelledByStem.insert(stemKey(path), Travelled{path, {}});
    }
    for (const PlannedAction& action : std::as_const(plan.actions))
        if (isSidecarName(action.item.sourceURL.fileName()))
            travelledByStem.insert(stemKey(action.destinationURL), Travelled{action.destinationURL, action.id});

    QList<SharedSidecar> sidecars;
    QHash<QString, qsizetype> byPath;
    for (const PlannedAction& action : std::as_const(plan.actions)) {
        if (action.kind == PlannedActionKind::writeRating || isSidecarName(action.item.sourceURL.fileName()))
            continue;
        const auto travelled = travelledByStem.constFind(stemKey(action.destinationURL));
        const bool hasTravelled = travelled != travelledByStem.constEnd();
        const FileUrl path = hasTravelled ? travelled->path : ratingSidecarBeside(action.destinationURL);
        const auto known = byPath.constFind(path.path());
        if (known == byPath.constEnd()) {
            SharedSidecar sidecar{path, action.item, {}, hasTravelled};
            if (hasTravelled && !travelled->actionId.isEmpty())
                sidecar.prerequisites.append(travelled->actionId);
            byPath.insert(path.path(), sidecars.size());
            sidecars.append(sidecar);
        }
        SharedSidecar& sidecar = sidecars[byPath.value(path.path())];
        sidecar.prerequisites.append(action.id);
        const PhotoDecision decision = action.item.decision.value_or(PhotoDecision::keep);
        if (favour(decision) > favour(sidecar.photo.decision.value_or(PhotoDecision::keep)))
            sidecar.photo.decision = decision;
    }

    // A promise of an earlier run is kept under its own key, stars included.
    QHash<QString, QString> recordedKeys;
    for (auto it = existingRecords.cbegin(); it != existingRecords.cend(); ++it)
        if (const std::optional<RatingRecordKey> key = parseRatingRecordKey(it.key()))
            recordedKeys.insert(key->photoSourcePath, it.key());

    QList<PlannedAction> ratings;
    ratings.reserve(sidecars.size());
    for (const SharedSidecar& sidecar : std::as_const(sidecars)) {
        PlannedAction action;
        const QString photoPath = sidecar.photo.sourceURL.path();
        action.id = recordedKeys.value(photoPath, ratingRecordKey(keepStars, photoPath));
        action.keepRatingStars = parseRatingRecordKey(action.id)->keepStars;
        action.item = sidecar.photo;
        action.destinationURL = sidecar.path;
        action.kind = PlannedActionKind::writeRating;
        action.prerequisites = sidecar.prerequisites;
        action.updatesTravelledSidecar = sidecar.travelled;
        const auto record = existingRecords.constFind(action.id);
        action.shouldSkip = record != existingRecords.constEnd() && record->status == ExecutionActionStatus::completed
            && record->destinationPath == sidecar.path.path();
        ratings.append(std::move(action));
    }
    plan.actions = ratings + plan.actions;
}

} // namespace kestrava::ResumableSortExecutor
