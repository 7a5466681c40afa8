#pragma once

#include "model/PhotoModel.h"

#include <optional>

namespace kestrava {

// The review choice offered first after a scan: both formats when JPEG and RAW files exist,
// otherwise the one format present, otherwise none.
std::optional<FormatReviewChoice> preselectedReviewChoice(qsizetype jpegCount, qsizetype rawCount);

// Whether the user has anything to choose: only when both formats are present.
bool offersFormatChoice(qsizetype jpegCount, qsizetype rawCount);

// The photos a choice reviews, in input order: JPEGs for jpeg, RAWs for raw, both for both.
QList<PhotoItem> photosReviewedBy(const QList<PhotoItem>& items, FormatReviewChoice choice);

} // namespace kestrava
