#include "RunScope.h"

#include <numeric>

namespace kestrava {

namespace {

int sum(const RunScope::FormatCounts& counts)
{
    return std::accumulate(counts.begin(), counts.end(), 0);
}

} // namespace

int RunScope::reviewedFiles(PhotoDecision decision) const
{
    return sum(reviewed[size_t(decision)]);
}

int RunScope::carriedFiles() const
{
    return sum(carried);
}

int RunScope::filesInRun() const
{
    int files = carriedFiles();
    for (const FormatCounts& counts : reviewed)
        files += sum(counts);
    return files;
}

RunScope RunScope::of(const QList<PhotoItem>& reviewed, const QList<PhotoItem>& carried, int shots,
                      int skippedEntries)
{
    RunScope scope;
    scope.shots = shots;
    scope.skippedEntries = skippedEntries;
    for (const PhotoItem& item : reviewed) {
        if (!item.decision) {
            ++scope.undecided;
            continue;
        }
        ++scope.reviewed[size_t(*item.decision)][size_t(item.formatGroup)];
    }
    for (const PhotoItem& item : carried)
        ++scope.carried[size_t(item.formatGroup)];
    return scope;
}

} // namespace kestrava
