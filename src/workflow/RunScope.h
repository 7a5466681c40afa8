#pragma once

// What a sort run will really touch, counted before it starts: the reviewed files by decision
// and format, the files carried along without a decision of their own (the format left out of
// review), and what stays out of the run. The confirmation names these so that "60 Motive"
// never hides the 60 RAW files that move with them.

#include "model/PhotoModel.h"

#include <QList>
#include <QStringList>
#include <array>

namespace kestrava {

struct RunScope {
    // Indexed by PhotoDecision, then PhotoFormatGroup.
    using FormatCounts = std::array<int, 3>;
    std::array<FormatCounts, 3> reviewed{};
    // Carried along without a decision of their own; the run files them as keep.
    FormatCounts carried{};
    int shots = 0;
    int undecided = 0;
    // Entries the scan could not take (unreadable folders, undecodable names): left in place.
    int skippedEntries = 0;
    // Files of formats the scan does not take, and a few of their names: left in place too.
    int unsupportedFiles = 0;
    QStringList unsupportedExamples;

    int reviewedFiles(PhotoDecision decision) const;
    int carriedFiles() const;
    // Every file the run copies, moves or stages, carried ones included.
    int filesInRun() const;

    static RunScope of(const QList<PhotoItem>& reviewed, const QList<PhotoItem>& carried, int shots,
                       int skippedEntries);
};

} // namespace kestrava
