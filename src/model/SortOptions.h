#pragma once

// What the user chose to happen to the reviewed files; carried into the execution plan.

#include "EnumNames.h"
#include "FileUrl.h"
#include "Json.h"

namespace kestrava {

enum class SortOperationMode { safeCopy, moveOriginals, organizeAndTrash };
template <>
struct EnumNames<SortOperationMode> {
    static constexpr std::array<std::pair<SortOperationMode, std::string_view>, 3> table{{
        {SortOperationMode::safeCopy, "safeCopy"}, {SortOperationMode::moveOriginals, "moveOriginals"},
        {SortOperationMode::organizeAndTrash, "organizeAndTrash"}}};
};

// Legacy; read only when migrating old session documents.
enum class TransferMode { copy, move };
template <>
struct EnumNames<TransferMode> {
    static constexpr std::array<std::pair<TransferMode, std::string_view>, 2> table{{
        {TransferMode::copy, "copy"}, {TransferMode::move, "move"}}};
};

// Legacy; read only when migrating old session documents.
enum class DiscardHandling { keepInFolder, moveToTrash };
template <>
struct EnumNames<DiscardHandling> {
    static constexpr std::array<std::pair<DiscardHandling, std::string_view>, 2> table{{
        {DiscardHandling::keepInFolder, "keepInFolder"}, {DiscardHandling::moveToTrash, "moveToTrash"}}};
};

enum class VerificationMode { fileSize, sha256 };
template <>
struct EnumNames<VerificationMode> {
    static constexpr std::array<std::pair<VerificationMode, std::string_view>, 2> table{{
        {VerificationMode::fileSize, "fileSize"}, {VerificationMode::sha256, "sha256"}}};
};

// Titles and descriptions the setup screen shows for each choice.
QString operationModeTitle(SortOperationMode mode);
QString operationModeDescription(SortOperationMode mode);
QString verificationModeLabel(VerificationMode mode);
QString groupByDateLabel();
// "Bewertungen in XMP-Begleitdateien schreiben"
QString ratingSidecarsLabel();
// "Sterne für Behalten"
QString keepRatingStarsLabel();

// The stars a kept photo's sidecar may carry: the 1 to 5 of every editor.
constexpr int minimumKeepRatingStars = 1;
constexpr int maximumKeepRatingStars = 5;

struct SortOptions {
    FileUrl destinationRoot;  // base folder + run folder name
    QString eventName;        // empty means none
    bool groupByDate = true;
    SortOperationMode operationMode = SortOperationMode::safeCopy;
    VerificationMode verificationMode = VerificationMode::fileSize;
    // Beside every photo in the result, an XMP sidecar with the decision as editors read it:
    // keep as `keepRatingStars` stars, maybe as the label "Vielleicht", reject as rating -1.
    bool writeRatingSidecars = false;
    int keepRatingStars = 1;

    friend bool operator==(const SortOptions&, const SortOptions&) = default;
};

QJsonObject toJson(const SortOptions& options);
// The first five keys are required; `writeRatingSidecars` (default false) and
// `keepRatingStars` (default 1, else 1 to 5) may be missing, as in documents written before them.
SortOptions sortOptionsFromJson(const QJsonObject& object);

} // namespace kestrava
