#pragma once

// The session document: the whole persisted state of one culling run.
//
// Format (one compact JSON object, keys sorted, no trailing newline):
//   version                 integer, always written as 3
//   id                      upper-case hyphenated UUID; names the session's files
//   createdAt, updatedAt    ISO 8601 UTC, whole seconds, "Z"
//   status                  "reviewing" | "ready" | "running" | "paused" | "completed"
//   sourceFolder            file: URL
//   destinationBaseFolder   file: URL, left out when unset
//   destinationFolder       file: URL, left out when unset
//   runFolderName           string
//   photos                  array of PhotoItem (model/PhotoModelJson.h); a photo's
//                           captureDate is on the whole second, its optional
//                           captureMilliseconds (integer 1...999) adds the camera's subsecond;
//                           its optional captureDateOrigin ("exif" | "fileDate" | "unknown")
//                           says whether the camera recorded that date or it is the file's
//                           modification date. Left out, it means "exif" where captureDate
//                           differs from a known modificationDate (nothing but a date read
//                           from the file ever replaced the file date) and "unknown" where they
//                           are equal; it is written only where it says something else, so
//                           documents from before it existed keep their meaning. Only "exif"
//                           counts as a capture time for series.
//   passThroughPhotos       array of PhotoItem
//   ignoredPhotoCount       integer
//   selectedReviewChoice    "jpeg" | "raw" | "both", left out when unset
//   pairingWasTransferred   boolean
//   pairingChoiceResolved   boolean
//   currentIndex            integer
//   eventName               string
//   groupByDate             boolean
//   operationMode           "safeCopy" | "moveOriginals" | "organizeAndTrash"
//   requiresModeSelection   boolean
//   verificationMode        "fileSize" | "sha256"
//   seriesGapMilliseconds   integer 100...60000, the longest pause within a burst; left out
//                           when it is the default 1000, which a document without it means
//   unsupportedFileCount    integer, files of formats the scan does not take; left out when 0
//   unsupportedFileExamples array of string, the first few of their names; left out when empty
//   executionRecords        object: source path → ExecutionRecord
//   trashPreparation        object, left out when unset
//   lastEventSequence       integer: last event folded into this document
//
// ExecutionRecord: sourcePath (string), destinationPath (string, optional), status
// ("pending" | "completed" | "skipped" | "failed"), verifiedSize (integer), errorMessage
// (string, optional).
// A record of a rating sidecar (execution/RatingPlanner.h) has in place of a source path the
// key "xmp-rating:<stars for keep, 1 to 5>:<source path of its photo>"; its destinationPath
// is the sidecar in the result folder, its verifiedSize the sidecar's size. Such keys never
// begin with "/", so they meet no file's record; readers that do not know them keep them as
// they are.
//
// Reading accepts versions up to 3 (a missing version is 1) and migrates older documents:
// missing keys take documented defaults, and versions 1 and 2 derive `operationMode` from the
// legacy keys `transferMode` ("copy" | "move") and `discardHandling` ("keepInFolder" |
// "moveToTrash"), which are never written. A document either decodes completely or not at all.

#include "model/PhotoModel.h"
#include "model/SeriesBuilder.h"
#include "model/SortOptions.h"
#include "trash/TrashTypes.h"

#include <QJsonObject>
#include <QMap>

namespace kestrava {

enum class SortSessionStatus { reviewing, ready, running, paused, completed };
template <>
struct EnumNames<SortSessionStatus> {
    static constexpr std::array<std::pair<SortSessionStatus, std::string_view>, 5> table{{
        {SortSessionStatus::reviewing, "reviewing"}, {SortSessionStatus::ready, "ready"},
        {SortSessionStatus::running, "running"}, {SortSessionStatus::paused, "paused"},
        {SortSessionStatus::completed, "completed"}}};
};

// The outcome of one planned file action.
struct ExecutionRecord {
    QString sourcePath;
    std::optional<QString> destinationPath;
    ExecutionActionStatus status = ExecutionActionStatus::pending;
    qint64 verifiedSize = 0;
    std::optional<QString> errorMessage;

    friend bool operator==(const ExecutionRecord&, const ExecutionRecord&) = default;
};

struct SortSession {
    static constexpr int currentVersion = 3;

    int version = currentVersion;
    QUuid id;
    QDateTime createdAt;
    QDateTime updatedAt;
    SortSessionStatus status = SortSessionStatus::reviewing;
    FileUrl sourceFolder;
    std::optional<FileUrl> destinationBaseFolder;
    std::optional<FileUrl> destinationFolder;
    QString runFolderName;
    QList<PhotoItem> photos;
    QList<PhotoItem> passThroughPhotos;
    int ignoredPhotoCount = 0;
    // Entries the scan could not take (undecodable names, unreadable sub-folders); they stay
    // in the source folder whatever the run does. Written only when not 0.
    int skippedEntryCount = 0;
    // Regular files the scan left out as not a supported photo format, and the names of the
    // first few: the confirmation names them, also when the session is resumed. Written only
    // when not 0 (and not empty).
    int unsupportedFileCount = 0;
    QStringList unsupportedFileExamples;
    std::optional<FormatReviewChoice> selectedReviewChoice;
    bool pairingWasTransferred = false;
    bool pairingChoiceResolved = true;
    int currentIndex = 0;
    QString eventName;
    bool groupByDate = true;
    SortOperationMode operationMode = SortOperationMode::safeCopy;
    bool requiresModeSelection = false;
    VerificationMode verificationMode = VerificationMode::fileSize;
    int seriesGapMilliseconds = int(defaultSeriesGap.count());
    // Keyed by the record's source path; one record per source file.
    QMap<QString, ExecutionRecord> executionRecords;
    // The staged trash transaction; its journal is the authority, this copy finds it again.
    std::optional<TrashPreparation> trashPreparation;
    qint64 lastEventSequence = 0;

    friend bool operator==(const SortSession&, const SortSession&) = default;
};

QJsonObject toJson(const ExecutionRecord& record);
// Throws DecodingError.
ExecutionRecord executionRecordFromJson(const QJsonObject& object);

// The same document as encodeSortSession() writes, as a value; slower for large sessions.
QJsonObject toJson(const SortSession& session);
// Decodes and migrates; the result always has version 3. Throws
// SessionStoreError::unsupportedVersion for versions above 3 and DecodingError for any other fault.
SortSession sortSessionFromJson(const QJsonObject& object);

// The snapshot bytes: compact JSON, keys sorted, no trailing newline. Written directly as text
// (a 20,000-photo session would spend most of its time building the QJsonObject).
QByteArray encodeSortSession(const SortSession& session);
// Whole-document decoding for files: throws SessionStoreError (unsupportedVersion, or
// corruptSession for every other fault, with the cause in its diagnostic).
SortSession decodeSortSession(const QByteArray& bytes);

} // namespace kestrava
