#pragma once

// The value types every subsystem passes around: one scanned photo, its format class, the
// user's verdict, the unit of review and the small enumerations of the workflow.

#include "EnumNames.h"
#include "FileUrl.h"
#include "Wording.h"

#include <QDateTime>
#include <QTimeZone>
#include <QList>
#include <QSet>
#include <QString>
#include <QUuid>
#include <optional>

namespace kestrava {

enum class PhotoFormatGroup { jpeg, raw, other };
template <>
struct EnumNames<PhotoFormatGroup> {
    static constexpr std::array<std::pair<PhotoFormatGroup, std::string_view>, 3> table{{
        {PhotoFormatGroup::jpeg, "jpeg"}, {PhotoFormatGroup::raw, "raw"}, {PhotoFormatGroup::other, "other"}}};
};

// The one classification of files by extension: JPEG set first, then RAW set, else other.
// `lowerCaseExtension` has no dot. Both sets are built once and read-only afterwards.
const QSet<QString>& jpegExtensions();
const QSet<QString>& rawExtensions();
PhotoFormatGroup formatGroupForExtension(const QString& lowerCaseExtension);
PhotoFormatGroup formatGroupForFileName(const QString& fileName);

enum class PhotoDecision { keep, maybe, del };
template <>
struct EnumNames<PhotoDecision> {
    static constexpr std::array<std::pair<PhotoDecision, std::string_view>, 3> table{{
        {PhotoDecision::keep, "keep"}, {PhotoDecision::maybe, "maybe"}, {PhotoDecision::del, "delete"}}};
};
// decisionLabel: model/Wording.h.

enum class FormatReviewChoice { jpeg, raw, both };
template <>
struct EnumNames<FormatReviewChoice> {
    static constexpr std::array<std::pair<FormatReviewChoice, std::string_view>, 3> table{{
        {FormatReviewChoice::jpeg, "jpeg"}, {FormatReviewChoice::raw, "raw"}, {FormatReviewChoice::both, "both"}}};
};

enum class AppRoute { welcome, scanning, setup, reviewing, confirmation, trashStaging, trashConfirmation, executing, completed };
template <>
struct EnumNames<AppRoute> {
    static constexpr std::array<std::pair<AppRoute, std::string_view>, 9> table{{
        {AppRoute::welcome, "welcome"}, {AppRoute::scanning, "scanning"}, {AppRoute::setup, "setup"},
        {AppRoute::reviewing, "reviewing"}, {AppRoute::confirmation, "confirmation"},
        {AppRoute::trashStaging, "trashStaging"}, {AppRoute::trashConfirmation, "trashConfirmation"},
        {AppRoute::executing, "executing"}, {AppRoute::completed, "completed"}}};
};

// Raw values are the German labels shown to the user.
enum class SortPhase { preparing, copying, verifying, moving, trashing, finished };
template <>
struct EnumNames<SortPhase> {
    static constexpr std::array<std::pair<SortPhase, std::string_view>, 6> table{{
        {SortPhase::preparing, "Vorbereitung"}, {SortPhase::copying, "Kopieren"}, {SortPhase::verifying, "Prüfen"},
        {SortPhase::moving, "Verschieben"}, {SortPhase::trashing, "Papierkorb"}, {SortPhase::finished, "Fertig"}}};
};

enum class ExecutionActionStatus { pending, completed, skipped, failed };
template <>
struct EnumNames<ExecutionActionStatus> {
    static constexpr std::array<std::pair<ExecutionActionStatus, std::string_view>, 4> table{{
        {ExecutionActionStatus::pending, "pending"}, {ExecutionActionStatus::completed, "completed"},
        {ExecutionActionStatus::skipped, "skipped"}, {ExecutionActionStatus::failed, "failed"}}};
};

// Where a photo's `captureDate` came from. The scanner puts the file's modification date in
// first; only a date the camera recorded inside the file is a capture time in the strict
// sense (files copied together share their file dates and would look like one burst).
enum class CaptureDateOrigin { unknown, fileDate, exif };
template <>
struct EnumNames<CaptureDateOrigin> {
    static constexpr std::array<std::pair<CaptureDateOrigin, std::string_view>, 3> table{{
        {CaptureDateOrigin::unknown, "unknown"}, {CaptureDateOrigin::fileDate, "fileDate"}, {CaptureDateOrigin::exif, "exif"}}};
};

// One photo file found by the scanner; identified by `sourceURL`.
struct PhotoItem {
    FileUrl sourceURL;
    QDateTime captureDate;
    CaptureDateOrigin captureDateOrigin = CaptureDateOrigin::unknown;
    PhotoFormatGroup formatGroup = PhotoFormatGroup::other;
    std::optional<PhotoDecision> decision;
    QString category;
    qint64 fileSize = 0;
    QDateTime modificationDate;
    QString relativePath;

    const FileUrl& id() const { return sourceURL; }
    // The capture time the camera recorded, nullopt when `captureDate` is a file date or of
    // unknown origin.
    std::optional<QDateTime> cameraCaptureTime() const;
    friend bool operator==(const PhotoItem&, const PhotoItem&) = default;
};

// Takes over what the metadata pipeline found: `from`'s capture date with its origin.
inline void takeCaptureDate(PhotoItem& into, const PhotoItem& from)
{
    into.captureDate = from.captureDate;
    into.captureDateOrigin = from.captureDateOrigin;
}

// The unit of review: a JPEG+RAW pair of one shot (JPEG first) or a single file.
struct ReviewGroup {
    QString id;
    QList<FileUrl> memberURLs;
    FileUrl previewURL;

    friend bool operator==(const ReviewGroup&, const ReviewGroup&) = default;

    // Pure: pairs only with choice `both`, and only an unambiguous one-JPEG-one-RAW set per key.
    // Result order is input order, each pair at the position of its earlier member.
    static QList<ReviewGroup> build(const QList<PhotoItem>& photos, std::optional<FormatReviewChoice> choice);
};

// Cheap identity the session store uses to recognise a file again.
struct FileFingerprint {
    QString relativePath;
    qint64 fileSize = 0;
    QDateTime modificationDate;

    friend bool operator==(const FileFingerprint&, const FileFingerprint&) = default;
};
size_t qHash(const FileFingerprint& fingerprint, size_t seed = 0) noexcept;

// The short confirmation shown after a decision.
struct DecisionFeedback {
    QUuid id;
    PhotoDecision decision = PhotoDecision::keep;
    QString scopeTitle;
    int fileCount = 0;

    // "Behalten · JPEG + RAW · 2 Dateien"
    QString title() const;
    friend bool operator==(const DecisionFeedback&, const DecisionFeedback&) = default;
};

// The date far before any real photo that stands for "no date known" (0001-01-01T00:00:00Z).
QDateTime distantPast();

} // namespace kestrava
