#include "JsonTextWriter.h"
#include "model/PhotoModelJson.h"
#include "SortSession.h"
#include "trash/TrashJson.h"

namespace kestrava {

using namespace Qt::StringLiterals;

// Keys are written in ascending order, the order QJsonObject gives; the tests hold this text
// against toJson(session).

void writePhotoJson(JsonTextWriter& w, const PhotoItem& photo)
{
    w.beginObject();
    w.key("captureDate"_L1);
    w.date(photo.captureDate);
    if (photo.captureDateOrigin != impliedCaptureDateOrigin(photo)) {
        w.key("captureDateOrigin"_L1);
        w.string(rawValue(photo.captureDateOrigin));
    }
    if (const int milliseconds = captureMillisecondsOf(photo.captureDate)) {
        w.key("captureMilliseconds"_L1);
        w.integer(milliseconds);
    }
    w.key("category"_L1);
    w.string(photo.category);
    if (photo.decision) {
        w.key("decision"_L1);
        w.string(rawValue(*photo.decision));
    }
    w.key("fileSize"_L1);
    w.integer(photo.fileSize);
    w.key("formatGroup"_L1);
    w.string(rawValue(photo.formatGroup));
    w.key("modificationDate"_L1);
    w.date(photo.modificationDate);
    w.key("relativePath"_L1);
    w.string(photo.relativePath);
    w.key("sourceURL"_L1);
    w.string(photo.sourceURL.toUrlString());
    w.endObject();
}

namespace {

void writePhotos(JsonTextWriter& w, QLatin1StringView key, const QList<PhotoItem>& photos)
{
    w.key(key);
    w.beginArray();
    for (const PhotoItem& photo : photos)
        writePhotoJson(w, photo);
    w.endArray();
}

void writeRecord(JsonTextWriter& w, const ExecutionRecord& record)
{
    w.beginObject();
    if (record.destinationPath) {
        w.key("destinationPath"_L1);
        w.string(*record.destinationPath);
    }
    if (record.errorMessage) {
        w.key("errorMessage"_L1);
        w.string(*record.errorMessage);
    }
    w.key("sourcePath"_L1);
    w.string(record.sourcePath);
    w.key("status"_L1);
    w.string(rawValue(record.status));
    w.key("verifiedSize"_L1);
    w.integer(record.verifiedSize);
    w.endObject();
}

void writeOptionalUrl(JsonTextWriter& w, QLatin1StringView key, const std::optional<FileUrl>& url)
{
    if (url) {
        w.key(key);
        w.string(url->toUrlString());
    }
}

} // namespace

QByteArray encodeSortSession(const SortSession& s)
{
    JsonTextWriter w(1024 + (s.photos.size() + s.passThroughPhotos.size()) * 320 + s.executionRecords.size() * 256);
    w.beginObject();
    w.key("createdAt"_L1);
    w.date(s.createdAt);
    w.key("currentIndex"_L1);
    w.integer(s.currentIndex);
    writeOptionalUrl(w, "destinationBaseFolder"_L1, s.destinationBaseFolder);
    writeOptionalUrl(w, "destinationFolder"_L1, s.destinationFolder);
    w.key("eventName"_L1);
    w.string(s.eventName);
    w.key("executionRecords"_L1);
    w.beginObject();
    // QMap iterates in QString order, which is the order QJsonObject keeps its keys in.
    for (auto it = s.executionRecords.cbegin(); it != s.executionRecords.cend(); ++it) {
        w.key(QStringView(it.key()));
        writeRecord(w, it.value());
    }
    w.endObject();
    w.key("groupByDate"_L1);
    w.boolean(s.groupByDate);
    w.key("id"_L1);
    w.string(json::encodeUuid(s.id));
    w.key("ignoredPhotoCount"_L1);
    w.integer(s.ignoredPhotoCount);
    w.key("lastEventSequence"_L1);
    w.integer(s.lastEventSequence);
    w.key("operationMode"_L1);
    w.string(rawValue(s.operationMode));
    w.key("pairingChoiceResolved"_L1);
    w.boolean(s.pairingChoiceResolved);
    w.key("pairingWasTransferred"_L1);
    w.boolean(s.pairingWasTransferred);
    writePhotos(w, "passThroughPhotos"_L1, s.passThroughPhotos);
    writePhotos(w, "photos"_L1, s.photos);
    w.key("requiresModeSelection"_L1);
    w.boolean(s.requiresModeSelection);
    w.key("runFolderName"_L1);
    w.string(s.runFolderName);
    if (s.selectedReviewChoice) {
        w.key("selectedReviewChoice"_L1);
        w.string(rawValue(*s.selectedReviewChoice));
    }
    if (s.seriesGapMilliseconds != defaultSeriesGap.count()) {
        w.key("seriesGapMilliseconds"_L1);
        w.integer(s.seriesGapMilliseconds);
    }
    if (s.skippedEntryCount != 0) {
        w.key("skippedEntryCount"_L1);
        w.integer(s.skippedEntryCount);
    }
    w.key("sourceFolder"_L1);
    w.string(s.sourceFolder.toUrlString());
    w.key("status"_L1);
    w.string(rawValue(s.status));
    if (s.trashPreparation) {
        w.key("trashPreparation"_L1);
        w.object(toJson(*s.trashPreparation));
    }
    if (s.unsupportedFileCount != 0) {
        w.key("unsupportedFileCount"_L1);
        w.integer(s.unsupportedFileCount);
    }
    if (!s.unsupportedFileExamples.isEmpty()) {
        w.key("unsupportedFileExamples"_L1);
        w.beginArray();
        for (const QString& name : s.unsupportedFileExamples)
            w.string(name);
        w.endArray();
    }
    w.key("updatedAt"_L1);
    w.date(s.updatedAt);
    w.key("verificationMode"_L1);
    w.string(rawValue(s.verificationMode));
    w.key("version"_L1);
    w.integer(SortSession::currentVersion);
    w.endObject();
    return w.take();
}

} // namespace kestrava
