#include "SortSession.h"

#include "SessionStoreError.h"
#include "model/PhotoModelJson.h"
#include "trash/TrashJson.h"

#include <QJsonArray>

#include <limits>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace {

// Counts and indexes live in `int`; a value beyond that range is a damaged document, not
// something to wrap around silently.
int toIntField(qint64 value, QLatin1StringView key)
{
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
        throw DecodingError(QStringLiteral("%1: Zahl außerhalb des Bereichs").arg(key));
    return int(value);
}

int optionalIntField(const QJsonObject& o, QLatin1StringView key, int fallback)
{
    const auto value = json::optionalInt(o, key);
    return value ? toIntField(*value, key) : fallback;
}

// A lone UTF-16 surrogate survives JSON but not the URL encoding: the session would change on
// its next save. Such a path was never written by us, so the document counts as damaged.
void requireWritablePath(const FileUrl& url, QLatin1StringView key)
{
    if (!url.path().isValidUtf16())
        throw DecodingError(QStringLiteral("%1: ungültiges Zeichen im Pfad").arg(key));
}

QList<PhotoItem> optionalPhotos(const QJsonObject& o, QLatin1StringView key)
{
    if (!o.contains(key) || o.value(key).isNull())
        return {};
    QList<PhotoItem> photos = photoItemsFromJson(json::requireArray(o, key));
    for (const PhotoItem& photo : std::as_const(photos))
        requireWritablePath(photo.sourceURL, key);
    return photos;
}

} // namespace

QJsonObject toJson(const ExecutionRecord& record)
{
    QJsonObject o;
    o.insert("sourcePath"_L1, record.sourcePath);
    json::putOptional(o, "destinationPath"_L1, record.destinationPath);
    o.insert("status"_L1, rawValue(record.status));
    o.insert("verifiedSize"_L1, record.verifiedSize);
    json::putOptional(o, "errorMessage"_L1, record.errorMessage);
    return o;
}

ExecutionRecord executionRecordFromJson(const QJsonObject& o)
{
    ExecutionRecord record;
    record.sourcePath = json::requireString(o, "sourcePath"_L1);
    record.destinationPath = json::optionalString(o, "destinationPath"_L1);
    record.status = json::requireEnum<ExecutionActionStatus>(o, "status"_L1);
    record.verifiedSize = json::requireInt(o, "verifiedSize"_L1);
    record.errorMessage = json::optionalString(o, "errorMessage"_L1);
    return record;
}

QJsonObject toJson(const SortSession& s)
{
    const auto url = [](const FileUrl& u) { return u.toUrlString(); };
    QJsonObject o;
    o.insert("version"_L1, SortSession::currentVersion);
    o.insert("id"_L1, json::encodeUuid(s.id));
    o.insert("createdAt"_L1, json::encodeDate(s.createdAt));
    o.insert("updatedAt"_L1, json::encodeDate(s.updatedAt));
    o.insert("status"_L1, rawValue(s.status));
    o.insert("sourceFolder"_L1, s.sourceFolder.toUrlString());
    json::putOptional(o, "destinationBaseFolder"_L1, s.destinationBaseFolder, url);
    json::putOptional(o, "destinationFolder"_L1, s.destinationFolder, url);
    o.insert("runFolderName"_L1, s.runFolderName);
    o.insert("photos"_L1, toJson(s.photos));
    o.insert("passThroughPhotos"_L1, toJson(s.passThroughPhotos));
    o.insert("ignoredPhotoCount"_L1, s.ignoredPhotoCount);
    if (s.skippedEntryCount != 0)
        o.insert("skippedEntryCount"_L1, s.skippedEntryCount);
    if (s.seriesGapMilliseconds != defaultSeriesGap.count())
        o.insert("seriesGapMilliseconds"_L1, s.seriesGapMilliseconds);
    if (s.unsupportedFileCount != 0)
        o.insert("unsupportedFileCount"_L1, s.unsupportedFileCount);
    if (!s.unsupportedFileExamples.isEmpty())
        o.insert("unsupportedFileExamples"_L1, QJsonArray::fromStringList(s.unsupportedFileExamples));
    json::putOptional(o, "selectedReviewChoice"_L1, s.selectedReviewChoice,
                      [](FormatReviewChoice c) { return rawValue(c); });
    o.insert("pairingWasTransferred"_L1, s.pairingWasTransferred);
    o.insert("pairingChoiceResolved"_L1, s.pairingChoiceResolved);
    o.insert("currentIndex"_L1, s.currentIndex);
    o.insert("eventName"_L1, s.eventName);
    o.insert("groupByDate"_L1, s.groupByDate);
    o.insert("operationMode"_L1, rawValue(s.operationMode));
    o.insert("requiresModeSelection"_L1, s.requiresModeSelection);
    o.insert("verificationMode"_L1, rawValue(s.verificationMode));
    QJsonObject records;
    for (auto it = s.executionRecords.cbegin(); it != s.executionRecords.cend(); ++it)
        records.insert(it.key(), toJson(it.value()));
    o.insert("executionRecords"_L1, records);
    json::putOptional(o, "trashPreparation"_L1, s.trashPreparation, [](const TrashPreparation& t) { return toJson(t); });
    o.insert("lastEventSequence"_L1, s.lastEventSequence);
    return o;
}

SortSession sortSessionFromJson(const QJsonObject& o)
{
    const qint64 storedVersion = json::optionalInt(o, "version"_L1).value_or(1);
    if (storedVersion > SortSession::currentVersion)
        throw SessionStoreError::unsupportedVersion(storedVersion);

    SortSession s;
    s.id = json::requireUuid(o, "id"_L1);
    s.createdAt = json::requireDate(o, "createdAt"_L1);
    s.updatedAt = json::requireDate(o, "updatedAt"_L1);
    s.sourceFolder = json::requireUrl(o, "sourceFolder"_L1);
    requireWritablePath(s.sourceFolder, "sourceFolder"_L1);
    s.status = json::optionalEnum<SortSessionStatus>(o, "status"_L1).value_or(SortSessionStatus::reviewing);

    s.destinationFolder = json::optionalUrl(o, "destinationFolder"_L1);
    s.destinationBaseFolder = json::optionalUrl(o, "destinationBaseFolder"_L1);
    for (const auto& folder : {s.destinationFolder, s.destinationBaseFolder})
        if (folder)
            requireWritablePath(*folder, "destinationFolder"_L1);
    if (!s.destinationBaseFolder && s.destinationFolder)
        s.destinationBaseFolder = s.destinationFolder->parent();
    if (auto name = json::optionalString(o, "runFolderName"_L1))
        s.runFolderName = *name;
    else if (s.destinationFolder)
        s.runFolderName = s.destinationFolder->fileName();

    s.photos = optionalPhotos(o, "photos"_L1);
    s.passThroughPhotos = optionalPhotos(o, "passThroughPhotos"_L1);
    s.ignoredPhotoCount = optionalIntField(o, "ignoredPhotoCount"_L1, 0);
    s.skippedEntryCount = optionalIntField(o, "skippedEntryCount"_L1, 0);
    s.unsupportedFileCount = optionalIntField(o, "unsupportedFileCount"_L1, 0);
    if (s.unsupportedFileCount < 0)
        throw DecodingError(u"unsupportedFileCount: %1 ist negativ"_s.arg(s.unsupportedFileCount));
    if (o.contains("unsupportedFileExamples"_L1)) {
        const QJsonValue examples = o.value("unsupportedFileExamples"_L1);
        if (!examples.isArray())
            throw DecodingError(u"unsupportedFileExamples: keine Liste"_s);
        for (const QJsonValue& name : examples.toArray()) {
            if (!name.isString())
                throw DecodingError(u"unsupportedFileExamples: Eintrag ist kein Text"_s);
            s.unsupportedFileExamples.append(name.toString());
        }
    }
    s.selectedReviewChoice = json::optionalEnum<FormatReviewChoice>(o, "selectedReviewChoice"_L1);
    s.pairingWasTransferred = json::optionalBool(o, "pairingWasTransferred"_L1).value_or(false);
    s.pairingChoiceResolved = json::optionalBool(o, "pairingChoiceResolved"_L1).value_or(true);
    s.currentIndex = optionalIntField(o, "currentIndex"_L1, 0);
    s.eventName = json::optionalString(o, "eventName"_L1).value_or(QString());
    s.groupByDate = json::optionalBool(o, "groupByDate"_L1).value_or(true);
    s.verificationMode = json::optionalEnum<VerificationMode>(o, "verificationMode"_L1).value_or(VerificationMode::fileSize);
    s.seriesGapMilliseconds = optionalIntField(o, "seriesGapMilliseconds"_L1, int(defaultSeriesGap.count()));
    if (s.seriesGapMilliseconds < minimumSeriesGap.count() || s.seriesGapMilliseconds > maximumSeriesGap.count())
        throw DecodingError(u"seriesGapMilliseconds: %1 liegt nicht zwischen %2 und %3"_s.arg(s.seriesGapMilliseconds)
                                .arg(minimumSeriesGap.count()).arg(maximumSeriesGap.count()));

    if (o.contains("executionRecords"_L1) && !o.value("executionRecords"_L1).isNull()) {
        const QJsonObject records = json::requireObject(o, "executionRecords"_L1);
        for (auto it = records.constBegin(); it != records.constEnd(); ++it) {
            if (!it->isObject())
                throw DecodingError(u"executionRecords: Eintrag ist kein Objekt"_s);
            s.executionRecords.insert(it.key(), executionRecordFromJson(it->toObject()));
        }
    }
    if (o.contains("trashPreparation"_L1) && !o.value("trashPreparation"_L1).isNull())
        s.trashPreparation = trashPreparationFromJson(json::requireObject(o, "trashPreparation"_L1));
    s.lastEventSequence = json::optionalInt(o, "lastEventSequence"_L1).value_or(0);

    // The legacy pair is validated even when a newer key makes it irrelevant: a value
    // nobody wrote means the document was damaged.
    const auto transfer = json::optionalEnum<TransferMode>(o, "transferMode"_L1);
    const auto discard = json::optionalEnum<DiscardHandling>(o, "discardHandling"_L1);
    if (auto mode = json::optionalEnum<SortOperationMode>(o, "operationMode"_L1)) {
        s.operationMode = *mode;
        s.requiresModeSelection = json::optionalBool(o, "requiresModeSelection"_L1).value_or(false);
    } else if (discard == DiscardHandling::moveToTrash) {
        s.operationMode = SortOperationMode::organizeAndTrash;
        s.requiresModeSelection = true;
    } else {
        s.operationMode = transfer == TransferMode::move ? SortOperationMode::moveOriginals : SortOperationMode::safeCopy;
        s.requiresModeSelection = false;
    }
    // Older documents could not say unambiguously whether originals were meant for the
    // Trash, so such a session never goes on to trash anything without a fresh choice.
    // Versions below 1 were never written by us; they are treated as old, not as current.
    if (storedVersion < SortSession::currentVersion && s.operationMode == SortOperationMode::organizeAndTrash)
        s.requiresModeSelection = true;

    s.version = SortSession::currentVersion;
    return s;
}

} // namespace kestrava
