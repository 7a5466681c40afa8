#include "SeriesBuilder.h"

#include <QHash>

#include <algorithm>

namespace kestrava {

namespace {

bool continues(const SeriesEntry& previous, const SeriesEntry& next, qint64 gap)
{
    if (!previous.captureTime || !next.captureTime || previous.folder != next.folder)
        return false;
    const qint64 step = previous.captureTime->msecsTo(*next.captureTime);
    return step >= 0 && step <= gap;
}

} // namespace

QList<SeriesEntry> seriesEntriesFor(const QList<ReviewGroup>& groups, const QList<PhotoItem>& photos)
{
    QHash<FileUrl, QDateTime> cameraTimes;
    for (const PhotoItem& photo : photos)
        if (const auto time = photo.cameraCaptureTime())
            cameraTimes.insert(photo.sourceURL, *time);
    QList<SeriesEntry> entries;
    entries.reserve(groups.size());
    for (const ReviewGroup& group : groups) {
        SeriesEntry entry{group.previewURL.parent(), std::nullopt};
        if (const auto found = cameraTimes.constFind(group.previewURL); found != cameraTimes.cend())
            entry.captureTime = *found;
        for (qsizetype m = 0; !entry.captureTime && m < group.memberURLs.size(); ++m)
            if (const auto found = cameraTimes.constFind(group.memberURLs[m]); found != cameraTimes.cend())
                entry.captureTime = *found;
        entries.append(std::move(entry));
    }
    return entries;
}

QList<Series> findSeries(const QList<SeriesEntry>& entries, std::chrono::milliseconds gap)
{
    const qint64 limit = std::max<qint64>(0, gap.count());
    QList<Series> found;
    qsizetype first = 0;
    for (qsizetype i = 1; i <= entries.size(); ++i) {
        if (i < entries.size() && continues(entries[i - 1], entries[i], limit))
            continue;
        if (i - first >= 2)
            found.append(Series{first, i - first});
        first = i;
    }
    return found;
}

qsizetype sharpestOf(const Series& series, const QList<std::optional<float>>& scores)
{
    qsizetype best = -1;
    for (qsizetype i = series.first; i < series.first + series.length && i < scores.size(); ++i)
        if (scores[i] && (best < 0 || *scores[i] > *scores[best]))
            best = i;
    return best;
}

QList<SeriesPlace> seriesPlaces(const QList<Series>& series, qsizetype count)
{
    QList<SeriesPlace> places(count);
    for (qsizetype s = 0; s < series.size(); ++s) {
        const Series& one = series[s];
        for (qsizetype k = 0; k < one.length && one.first + k < count; ++k)
            places[one.first + k] = SeriesPlace{int(s), int(k + 1), int(one.length)};
    }
    return places;
}

} // namespace kestrava
