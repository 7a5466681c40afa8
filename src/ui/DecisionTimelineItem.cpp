#include "DecisionTimelineItem.h"

#include "workflow/DecisionTimelineLayout.h"
#include "workflow/KestravaViewModel.h"

#include <QQuickWindow>
#include <QSGRectangleNode>

#include <algorithm>
#include <array>
#include <cmath>

namespace kestrava {

namespace {

// Below this segment width a gap would eat the colour; runs are merged instead.
constexpr double separatedSegmentWidth = 4.0;

} // namespace

DecisionTimelineItem::DecisionTimelineItem(QQuickItem* parent) : QQuickItem(parent)
{
    setFlag(ItemHasContents, true);
    connect(this, &DecisionTimelineItem::colorsChanged, this, [this] {
        geometryDirty_ = true;
        update();
    });
}

QObject* DecisionTimelineItem::viewModelObject() const
{
    return viewModel_;
}

void DecisionTimelineItem::setViewModelObject(QObject* object)
{
    if (!viewModel_.reset(qobject_cast<KestravaViewModel*>(object)))
        return;
    viewModel_.follow(viewModel_.review(), &ReviewStage::reviewStateChanged, this, &DecisionTimelineItem::reload);
    viewModel_.follow(viewModel_.review(), &ReviewStage::currentIndexChanged, this, &DecisionTimelineItem::reload);
    if (viewModel_)
        viewModel_.follow(viewModel_->series(), &SeriesStage::changed, this, &DecisionTimelineItem::reload);
    emit viewModelChanged();
    reload();
}

void DecisionTimelineItem::reload()
{
    if (!viewModel_)
        return;
    setDecisions(viewModel_->review()->decisionTimeline(), viewModel_->review()->currentIndex());
    setSeries(viewModel_->series()->series());
}

void DecisionTimelineItem::setSeries(QList<Series> series)
{
    if (series == series_)
        return;
    series_ = std::move(series);
    geometryDirty_ = true;
    update();
}

QList<std::pair<double, double>> DecisionTimelineItem::seriesSpans(const QList<Series>& series, int count, double width)
{
    QList<std::pair<double, double>> spans;
    if (count == 0 || width <= 0)
        return spans;
    const auto [start, end] = DecisionTimelineLayout::trackBounds(width);
    const bool separated = (end - start) / count >= separatedSegmentWidth;
    for (const Series& one : series) {
        const int last = int(one.first + one.length - 1);
        if (one.length <= 0 || one.first < 0 || last >= count)
            continue;
        const double lower = DecisionTimelineLayout::segmentBounds(int(one.first), count, width).first;
        double upper = DecisionTimelineLayout::segmentBounds(last, count, width).second;
        if (separated && last + 1 < count)
            upper -= 1.0;
        spans.append({lower, qMax(upper, lower + 1.0)});
    }
    return spans;
}

void DecisionTimelineItem::setDecisions(QList<std::optional<PhotoDecision>> decisions, int currentIndex)
{
    const bool same = decisions == decisions_;
    if (same && currentIndex == currentIndex_)
        return;
    if (!same) {
        decisions_ = std::move(decisions);
        geometryDirty_ = true;
        update();
    }
    currentIndex_ = currentIndex;
    emit layoutChanged();
}

double DecisionTimelineItem::thumbX() const
{
    return DecisionTimelineLayout::thumbPosition(currentIndex_, count(), width());
}

double DecisionTimelineItem::thumbDiameter() const
{
    return DecisionTimelineLayout::thumbDiameter;
}

int DecisionTimelineItem::indexAt(double x) const
{
    if (decisions_.isEmpty())
        return -1;
    const auto [start, end] = DecisionTimelineLayout::trackBounds(width());
    if (end <= start)
        return 0;
    const double segment = (end - start) / count();
    return qBound(0, int((x - start) / segment), count() - 1);
}

QString DecisionTimelineItem::groupIdAt(int index) const
{
    if (!viewModel_)
        return {};
    const QList<ReviewGroup> groups = viewModel_->review()->effectiveReviewGroups();
    return index >= 0 && index < groups.size() ? groups[index].id : QString();
}

QList<DecisionTimelineItem::Run> DecisionTimelineItem::runs(const QList<std::optional<PhotoDecision>>& decisions,
                                                            double width)
{
    QList<Run> result;
    const int count = int(decisions.size());
    if (count == 0 || width <= 0)
        return result;
    const auto [start, end] = DecisionTimelineLayout::trackBounds(width);
    const double segment = (end - start) / count;

    auto append = [&](double lower, double upper, std::optional<PhotoDecision> decision) {
        if (!result.isEmpty() && result.last().decision == decision && result.last().upper >= lower - 1e-9)
            result.last().upper = upper;
        else
            result.append({lower, upper, decision});
    };

    if (segment < 1.0) {
        // More groups than pixels: each pixel column shows the decision most of its groups have,
        // so the drawing never needs more rectangles than the track has pixels.
        const int columns = qMax(1, int(std::ceil(end - start)));
        for (int column = 0; column < columns; ++column) {
            const double lower = start + column;
            const double upper = qMin(end, lower + 1.0);
            const int first = qBound(0, int(std::floor((lower - start) / segment)), count - 1);
            const int last = qBound(first, int(std::ceil((upper - start) / segment)) - 1, count - 1);
            std::array<int, 4> tally{};
            for (int i = first; i <= last; ++i)
                ++tally[decisions[i] ? int(*decisions[i]) + 1 : 0];
            const int winner = int(std::max_element(tally.begin(), tally.end()) - tally.begin());
            append(lower, upper, winner == 0 ? std::nullopt : std::optional<PhotoDecision>(PhotoDecision(winner - 1)));
        }
        return result;
    }

    const bool separated = segment >= separatedSegmentWidth;
    int first = 0;
    for (int i = 1; i <= count; ++i) {
        if (i < count && !separated && decisions[i] == decisions[first])
            continue;
        const double lower = DecisionTimelineLayout::segmentBounds(first, count, width).first;
        double upper = DecisionTimelineLayout::segmentBounds(i - 1, count, width).second;
        if (separated && i < count)
            upper -= 1.0;
        result.append({lower, upper, decisions[first]});
        first = i;
    }
    return result;
}

void DecisionTimelineItem::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size()) {
        geometryDirty_ = true;
        update();
        emit layoutChanged();
    }
}

QSGNode* DecisionTimelineItem::updatePaintNode(QSGNode* old, UpdatePaintNodeData*)
{
    // Plain rectangle nodes: drawn by every scene-graph backend, the software one included.
    QSGNode* root = old ? old : new QSGNode;
    if (!geometryDirty_)
        return root;
    geometryDirty_ = false;

    const QList<Run> list = runs(decisions_, width());
    const QList<std::pair<double, double>> spans = seriesSpans(series_, count(), width());
    while (root->childCount() > list.size() + spans.size()) {
        QSGNode* child = root->lastChild();
        root->removeChildNode(child);
        delete child;
    }
    while (root->childCount() < list.size() + spans.size())
        root->appendChildNode(window()->createRectangleNode());
    QSGNode* child = root->firstChild();
    for (const Run& run : list) {
        auto* rect = static_cast<QSGRectangleNode*>(child);
        const QColor color = !run.decision ? openColor_
                           : *run.decision == PhotoDecision::keep ? keepColor_
                           : *run.decision == PhotoDecision::maybe ? maybeColor_ : deleteColor_;
        rect->setRect(QRectF(run.lower, 0, qMax(run.upper - run.lower, 0.5), height()));
        rect->setColor(color);
        child = child->nextSibling();
    }
    for (const auto& [lower, upper] : spans) {
        auto* rect = static_cast<QSGRectangleNode*>(child);
        rect->setRect(QRectF(lower, height() + seriesBandOffset, upper - lower, seriesBand));
        rect->setColor(seriesColor_);
        child = child->nextSibling();
    }
    return root;
}

} // namespace kestrava
