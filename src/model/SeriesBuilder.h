#pragma once

// Bursts: runs of review groups shot in quick succession in one folder, so the user can pick
// the best frame of a moment instead of judging each frame alone.

#include "FileUrl.h"
#include "PhotoModel.h"

#include <QDateTime>
#include <QList>

#include <chrono>
#include <optional>

namespace kestrava {

inline constexpr std::chrono::milliseconds defaultSeriesGap{1000};
// The gaps a person may choose: below a tenth of a second no camera shoots, above a minute
// a "burst" is a whole scene.
inline constexpr std::chrono::milliseconds minimumSeriesGap{100};
inline constexpr std::chrono::milliseconds maximumSeriesGap{60'000};

// One review group as the series see it: the folder of its preview file and the capture time
// the camera recorded (with its subsecond), nullopt when the file recorded none. A file date
// standing in for a missing capture time must be given as nullopt: files copied together share
// their dates and would look like one long burst.
struct SeriesEntry {
    FileUrl folder;
    std::optional<QDateTime> captureTime;
};

// One entry per group, in the groups' order: the folder of its preview file and the capture
// time the camera recorded for the preview photo, or else for another member (a RAW whose JPEG
// carries no date); nullopt when no member's date came from the camera (file dates, dates of
// unknown origin, members missing from `photos`).
QList<SeriesEntry> seriesEntriesFor(const QList<ReviewGroup>& groups, const QList<PhotoItem>& photos);

// Groups first ... first + length - 1 of the input, in review order.
struct Series {
    qsizetype first = 0;
    qsizetype length = 0;
    friend bool operator==(const Series&, const Series&) = default;
};

// Where one group stands: the index of its series in the result of findSeries() and its
// 1-based position ("Serie 2 von 7": position 2, length 7); series -1 outside any series.
struct SeriesPlace {
    int series = -1;
    int position = 0;
    int length = 0;
    bool inSeries() const { return series >= 0; }
    friend bool operator==(const SeriesPlace&, const SeriesPlace&) = default;
};

// Pure. Consecutive entries in the same folder, each captured no earlier than the one before
// and at most `gap` after it, form a series when there are at least two of them. A missing
// time, a change of folder or a time going backwards (a camera clock reset, another camera's
// frame in between) ends a series; equal times continue it. A negative gap counts as 0.
QList<Series> findSeries(const QList<SeriesEntry>& entries, std::chrono::milliseconds gap = defaultSeriesGap);

// The index (into the entries findSeries() was given) of the member of `series` with the
// highest score; the earliest on a tie, -1 when no member has a score. `scores` is indexed
// like the entries; a missing score (not measured, unreadable) never wins.
qsizetype sharpestOf(const Series& series, const QList<std::optional<float>>& scores);

// One place per entry of the `count` entries that `series` was found in.
QList<SeriesPlace> seriesPlaces(const QList<Series>& series, qsizetype count);

} // namespace kestrava
