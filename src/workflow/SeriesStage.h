#pragma once

// Bursts in the review: which groups form a series, where the current group stands in its
// series, and which member of each series is the sharpest.
//
// Scores come from a scorer the window plugs in (the focus measure of the previews the screen
// shows); the workflow never depends on the preview library itself. Scoring starts only once
// the first picture of the review is on screen, and asks for the groups near the current one
// before the rest, so the measures queue behind what the user is looking at. Scores are kept
// by preview file, so rebuilding the groups (a format choice, newly read capture dates) does
// not measure anything twice.
//
// Lives on the GUI thread, like the view model it follows.

#include "model/SeriesBuilder.h"

#include <QFuture>
#include <QHash>
#include <QObject>
#include <QSet>

#include <functional>
#include <optional>

namespace kestrava {

class KestravaViewModel;

class SeriesStage : public QObject {
    Q_OBJECT
    // "Serie 2 von 7" for the current group; empty outside a series.
    Q_PROPERTY(QString positionText READ positionText NOTIFY changed)
    // "Schärfste Aufnahme der Serie" when the current group is its series' sharpest; else empty.
    Q_PROPERTY(QString sharpestText READ sharpestText NOTIFY changed)
    // The current group's focus score for the inspector; empty before it is known.
    Q_PROPERTY(QString scoreText READ scoreText NOTIFY changed)
    // Index of the first group of every series, in review order: where the timeline marks them.
    Q_PROPERTY(QList<int> seriesStarts READ seriesStarts NOTIFY changed)
    // Focus peaking: the in-focus edges of the shown preview drawn over it in a strong colour.
    Q_PROPERTY(bool peaking READ peaking WRITE setPeaking NOTIFY peakingChanged)
    // The longest pause between two frames of one series, an advanced option of the setup
    // screen, offered as `gapChoices` (milliseconds) with their `gapChoiceTitles`.
    Q_PROPERTY(int gapMilliseconds READ gapMilliseconds WRITE setGapMilliseconds NOTIFY gapChanged)
    Q_PROPERTY(QList<int> gapChoices READ gapChoices CONSTANT)
    Q_PROPERTY(QStringList gapChoiceTitles READ gapChoiceTitles CONSTANT)
    Q_PROPERTY(QString gapLabel READ gapWording CONSTANT)

public:
    // The focus score of a preview file, nullopt when none could be measured. Runs in the
    // background; the future is awaited on the GUI thread through a continuation.
    using Scorer = std::function<QFuture<std::optional<float>>(const FileUrl& previewFile)>;

    // Groups on either side of the current one that are scored before the rest.
    static constexpr int nearGroups = 8;

    SeriesStage(KestravaViewModel& viewModel, QObject* parent = nullptr);

    // None (the default) measures nothing: no group is ever marked the sharpest.
    void setScorer(Scorer scorer);
    bool hasScorer() const { return bool(scorer_); }
    // Rebuilds the series with the new gap; a gap outside 0.1 to 60 s is brought into that
    // range. True when it changed.
    bool setGap(std::chrono::milliseconds gap);
    std::chrono::milliseconds gap() const { return gap_; }
    int gapMilliseconds() const { return int(gap_.count()); }
    // The person's choice: also kept in the session document at once.
    void setGapMilliseconds(int milliseconds);
    static QList<int> gapChoices();
    static QStringList gapChoiceTitles();
    bool peaking() const { return peaking_; }
    void setPeaking(bool on);
    Q_INVOKABLE void togglePeaking() { setPeaking(!peaking_); }
    // One decision for the current group's series: its sharpest group kept, its other groups
    // rejected, each only while still open. Waits for every member's score; says why in the
    // window's alert when it does nothing. True when the decisions were taken.
    Q_INVOKABLE bool decideSeries();

    const QList<Series>& series() const { return series_; }
    // Outside any series for an index out of range.
    SeriesPlace placeOf(qsizetype groupIndex) const;
    // The score of the group's preview file, nullopt before it is measured or when it failed.
    std::optional<float> score(qsizetype groupIndex) const;
    // The group index of the sharpest member of the series `groupIndex` belongs to; -1 when it
    // is in none or none of its members has a score yet.
    qsizetype sharpestInSeriesOf(qsizetype groupIndex) const;
    bool isSharpest(qsizetype groupIndex) const;
    Q_INVOKABLE bool isSharpestGroup(int groupIndex) const { return isSharpest(groupIndex); }
    Q_INVOKABLE QString positionTextFor(int groupIndex) const;

    QString positionText() const;
    QString sharpestText() const;
    QString scoreText() const;
    QList<int> seriesStarts() const;

    // The user's words, assembled here only.
    static QString positionWording(const SeriesPlace& place);
    static QString sharpestWording();
    static QString scoreWording(float score);
    static QString notInSeriesWording();
    static QString stillMeasuringWording();
    static QString gapWording();
    // "0,5 s"
    static QString gapChoiceWording(int milliseconds);

signals:
    // Series, scores or the current group changed.
    void changed();
    // The series themselves changed (other groups, capture times or gap); with `changed`.
    void seriesChanged();
    void peakingChanged();
    void gapChanged();

private:
    void rebuild();
    void onPreviewReady();
    void requestScores();
    void request(const FileUrl& file);

    KestravaViewModel& viewModel_;
    Scorer scorer_;
    std::chrono::milliseconds gap_ = defaultSeriesGap;
    QList<FileUrl> previewFiles_;          // per group, in review order
    QList<SeriesEntry> entries_;
    QList<Series> series_;
    QList<SeriesPlace> places_;
    QHash<FileUrl, std::optional<float>> scores_; // measured (a value) or failed (nullopt)
    QSet<FileUrl> requested_;
    // Scoring waits for the first picture on screen of each review.
    bool screenRendered_ = false;
    bool peaking_ = false;
    // Bumped when the run changes: late scores of an earlier run are dropped.
    quint64 generation_ = 0;
};

} // namespace kestrava
