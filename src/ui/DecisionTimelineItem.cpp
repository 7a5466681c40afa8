#include "DecisionTimelineItem.h"

#include "workflow/DecisionTimelineLayout.h"
#include "workflow/KestravaViewModel.h"

#include <QSGFlatColorMaterial>
#include <QSGGeometryNode>
#include <QSGVertexColorMaterial>

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
    auto* viewModel = qobject_cast<KestravaViewModel*>(object);
    if (viewModel_ == viewModel)
        return;
    for (const auto& connection : connections_)
        disconnect(connection);
    connections_.clear();
    viewModel_ = viewModel;
    if (viewModel_) {
        connections_ << connect(viewModel_, &KestravaViewModel::reviewStateChanged, this, &DecisionTimelineItem::reload);
        connections_ << connect(viewModel_, &KestravaViewModel::currentIndexChanged, this, &DecisionTimelineItem::reload);
    }
    emit viewModelChanged();
    reload();
}

void DecisionTimelineItem::reload()
{
    if (!viewModel_)
        return;
    setDecisions(viewModel_->decisionTimeline(), viewModel_->currentIndex());
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
    const QList<ReviewGroup> groups = viewModel_->effectiveReviewGroups();
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
    const bool separated = (end - start) / count >= separatedSegmentWidth;
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
    auto* node = static_cast<QSGGeometryNode*>(old);
    if (!node) {
        node = new QSGGeometryNode;
        auto* geometry = new QSGGeometry(QSGGeometry::defaultAttributes_ColoredPoint2D(), 0);
        geometry->setDrawingMode(QSGGeometry::DrawTriangles);
        node->setGeometry(geometry);
        node->setFlag(QSGNode::OwnsGeometry);
        node->setMaterial(new QSGVertexColorMaterial);
        node->setFlag(QSGNode::OwnsMaterial);
        geometryDirty_ = true;
    }
    if (!geometryDirty_)
        return node;
    geometryDirty_ = false;

    const QList<Run> list = runs(decisions_, width());
    QSGGeometry* geometry = node->geometry();
    geometry->allocate(int(list.size()) * 6);
    auto* v = geometry->vertexDataAsColoredPoint2D();
    const float top = 0, bottom = float(height());
    for (const Run& run : list) {
        QColor color = openColor_;
        if (run.decision)
            color = *run.decision == PhotoDecision::keep ? keepColor_
                  : *run.decision == PhotoDecision::maybe ? maybeColor_ : deleteColor_;
        // Vertex colours are premultiplied.
        const float a = float(color.alphaF());
        const auto r = uchar(color.red() * a), g = uchar(color.green() * a), b = uchar(color.blue() * a),
                   alpha = uchar(color.alpha());
        const float x0 = float(run.lower), x1 = float(qMax(run.upper, run.lower + 0.5));
        v[0].set(x0, top, r, g, b, alpha);
        v[1].set(x1, top, r, g, b, alpha);
        v[2].set(x0, bottom, r, g, b, alpha);
        v[3].set(x1, top, r, g, b, alpha);
        v[4].set(x1, bottom, r, g, b, alpha);
        v[5].set(x0, bottom, r, g, b, alpha);
        v += 6;
    }
    node->markDirty(QSGNode::DirtyGeometry);
    return node;
}

} // namespace kestrava
