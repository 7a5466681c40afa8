#include "SeriesStage.h"

#include "KestravaViewModel.h"
#include "platform/DeliveredLater.h"

#include <QLocale>

#include <algorithm>

namespace kestrava {

SeriesStage::SeriesStage(KestravaViewModel& viewModel, QObject* parent) : QObject(parent), viewModel_(viewModel)
{
    // Decisions emit the review state too; rebuild() leaves the series alone unless the groups
    // or their capture times differ.
    const ReviewStage* review = viewModel_.review();
    connect(review, &ReviewStage::reviewStateChanged, this, &SeriesStage::rebuild);
    connect(viewModel_.loading(), &LoadingStage::metadataEnriched, this, &SeriesStage::rebuild);
    connect(review, &ReviewStage::currentIndexChanged, this, &SeriesStage::changed);
    connect(review, &ReviewStage::isPreviewReadyChanged, this, &SeriesStage::onPreviewReady);
    connect(&viewModel_, &KestravaViewModel::sourceFolderChanged, this, [this] {
        ++generation_;
        scores_.clear();
        requested_.clear();
        screenRendered_ = false;
        rebuild();
        emit changed();
    });
}

void SeriesStage::setScorer(Scorer scorer)
{
    scorer_ = std::move(scorer);
    requestScores();
}

bool SeriesStage::setGap(std::chrono::milliseconds gap)
{
    gap = std::clamp(gap, minimumSeriesGap, maximumSeriesGap);
    if (gap_ == gap)
        return false;
    gap_ = gap;
    series_ = findSeries(entries_, gap_);
    places_ = seriesPlaces(series_, entries_.size());
    emit gapChanged();
    emit seriesChanged();
    emit changed();
    return true;
}

void SeriesStage::setGapMilliseconds(int milliseconds)
{
    if (setGap(std::chrono::milliseconds(milliseconds)))
        viewModel_.saveSessionSnapshot();
}

QList<int> SeriesStage::gapChoices()
{
    return {300, 500, int(defaultSeriesGap.count()), 2000};
}

QStringList SeriesStage::gapChoiceTitles()
{
    QStringList titles;
    for (int milliseconds : gapChoices())
        titles.append(gapChoiceWording(milliseconds));
    return titles;
}

void SeriesStage::setPeaking(bool on)
{
    if (peaking_ == on)
        return;
    peaking_ = on;
    emit peakingChanged();
}

bool SeriesStage::decideSeries()
{
    ReviewStage& review = *viewModel_.review();
    // The same guards as a single decision: the picture on screen, no write running.
    if (!review.isPreviewReady() || review.isCommittingDecision())
        return false;
    const qsizetype current = review.currentIndex();
    const SeriesPlace place = placeOf(current);
    if (!place.inSeries()) {
        viewModel_.raiseAlert(notInSeriesWording());
        return false;
    }
    const Series& series = series_[place.series];
    for (qsizetype i = series.first; i < series.first + series.length; ++i) {
        if (!scores_.contains(previewFiles_[i])) {
            viewModel_.raiseAlert(stillMeasuringWording());
            return false;
        }
    }
    const qsizetype sharpest = sharpestInSeriesOf(current);
    if (sharpest < 0) {
        viewModel_.raiseAlert(stillMeasuringWording());
        return false;
    }
    QList<qsizetype> others;
    for (qsizetype i = series.first; i < series.first + series.length; ++i)
        if (i != sharpest)
            others.append(i);
    return review.decideGroups(sharpest, others, int(series.first + series.length));
}

void SeriesStage::rebuild()
{
    const QList<ReviewGroup> groups = viewModel_.review()->effectiveReviewGroups();
    QList<FileUrl> files;
    files.reserve(groups.size());
    for (const ReviewGroup& group : groups)
        files.append(group.previewURL);
    QList<SeriesEntry> entries = seriesEntriesFor(groups, viewModel_.loading()->photos());
    const bool sameEntries = entries.size() == entries_.size()
        && std::equal(entries.begin(), entries.end(), entries_.begin(), [](const SeriesEntry& a, const SeriesEntry& b) {
               return a.folder == b.folder && a.captureTime == b.captureTime;
           });
    if (sameEntries && files == previewFiles_)
        return;
    previewFiles_ = std::move(files);
    entries_ = std::move(entries);
    series_ = findSeries(entries_, gap_);
    places_ = seriesPlaces(series_, entries_.size());
    requestScores();
    emit seriesChanged();
    emit changed();
}

void SeriesStage::onPreviewReady()
{
    if (!viewModel_.review()->isPreviewReady() || viewModel_.route() != AppRoute::reviewing)
        return;
    if (!screenRendered_) {
        screenRendered_ = true;
        requestScores();
    }
}

void SeriesStage::requestScores()
{
    if (!scorer_ || !screenRendered_ || previewFiles_.isEmpty())
        return;
    const qsizetype count = previewFiles_.size();
    const qsizetype current = std::clamp<qsizetype>(viewModel_.review()->currentIndex(), 0, count - 1);
    // The groups the user is about to see first, ahead first, then everything in review order.
    request(previewFiles_[current]);
    for (qsizetype step = 1; step <= nearGroups; ++step) {
        if (current + step < count)
            request(previewFiles_[current + step]);
        if (current - step >= 0)
            request(previewFiles_[current - step]);
    }
    for (const FileUrl& file : std::as_const(previewFiles_))
        request(file);
}

void SeriesStage::request(const FileUrl& file)
{
    if (requested_.contains(file))
        return;
    requested_.insert(file);
    const quint64 generation = generation_;
    deliveredLater(scorer_(file), this).then(this, [this, file, generation](std::optional<float> score) {
        if (generation != generation_)
            return;
        scores_.insert(file, score);
        emit changed();
    });
}

SeriesPlace SeriesStage::placeOf(qsizetype groupIndex) const
{
    return groupIndex >= 0 && groupIndex < places_.size() ? places_[groupIndex] : SeriesPlace{};
}

std::optional<float> SeriesStage::score(qsizetype groupIndex) const
{
    if (groupIndex < 0 || groupIndex >= previewFiles_.size())
        return std::nullopt;
    return scores_.value(previewFiles_[groupIndex], std::nullopt);
}

qsizetype SeriesStage::sharpestInSeriesOf(qsizetype groupIndex) const
{
    const SeriesPlace place = placeOf(groupIndex);
    if (!place.inSeries())
        return -1;
    QList<std::optional<float>> scores;
    scores.reserve(previewFiles_.size());
    for (qsizetype i = 0; i < previewFiles_.size(); ++i)
        scores.append(score(i));
    return sharpestOf(series_[place.series], scores);
}

bool SeriesStage::isSharpest(qsizetype groupIndex) const
{
    return groupIndex >= 0 && sharpestInSeriesOf(groupIndex) == groupIndex;
}

QString SeriesStage::positionTextFor(int groupIndex) const
{
    return positionWording(placeOf(groupIndex));
}

QString SeriesStage::positionText() const
{
    return positionTextFor(viewModel_.review()->currentIndex());
}

QString SeriesStage::sharpestText() const
{
    return isSharpest(viewModel_.review()->currentIndex()) ? sharpestWording() : QString();
}

QString SeriesStage::scoreText() const
{
    const std::optional<float> value = score(viewModel_.review()->currentIndex());
    return value ? scoreWording(*value) : QString();
}

QList<int> SeriesStage::seriesStarts() const
{
    QList<int> starts;
    starts.reserve(series_.size());
    for (const Series& series : series_)
        starts.append(int(series.first));
    return starts;
}

QString SeriesStage::positionWording(const SeriesPlace& place)
{
    if (!place.inSeries())
        return {};
    return QStringLiteral("Serie %1 von %2").arg(place.position).arg(place.length);
}

QString SeriesStage::sharpestWording()
{
    return QStringLiteral("Schärfste Aufnahme der Serie");
}

QString SeriesStage::notInSeriesWording()
{
    return QStringLiteral("Dieses Foto gehört zu keiner Serie.");
}

QString SeriesStage::stillMeasuringWording()
{
    return QStringLiteral("Die Schärfe dieser Serie wird noch gemessen. Bitte versuche es gleich noch einmal.");
}

QString SeriesStage::gapWording()
{
    return QStringLiteral("Größte Pause zwischen zwei Aufnahmen einer Serie");
}

QString SeriesStage::gapChoiceWording(int milliseconds)
{
    return QLocale(QLocale::German).toString(milliseconds / 1000.0, 'g', 3) + QStringLiteral(" s");
}

QString SeriesStage::scoreWording(float score)
{
    // The measure runs over several orders of magnitude; whole numbers are enough to compare
    // the frames of a burst.
    return QLocale(QLocale::German).toString(qRound64(double(score)));
}

} // namespace kestrava
